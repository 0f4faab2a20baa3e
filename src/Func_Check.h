// Check sums, digits and the log handler. They are entry points, all declared for the host.

#ifndef MICRO850_FUNC_CHECK_H
#define MICRO850_FUNC_CHECK_H

#include "micro850/host_interface.h"

#endif // MICRO850_FUNC_CHECK_H
