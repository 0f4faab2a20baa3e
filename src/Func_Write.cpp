#include "Func_Write.h"
