#include "Func_Check.h"
