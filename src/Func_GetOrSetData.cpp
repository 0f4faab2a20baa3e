#include "Func_GetOrSetData.h"
