#include "Func_Initi.h"
