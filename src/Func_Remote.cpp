#include "Func_Remote.h"
