#include "Func_DealData.h"
