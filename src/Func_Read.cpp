#include "Func_Read.h"
