#include "Device_Driver.h"
