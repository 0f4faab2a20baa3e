// Builds Read Tag requests.

#ifndef MICRO850_FUNC_READ_H
#define MICRO850_FUNC_READ_H

#include "micro850/host_interface.h"

/// Appends a Read Tag request for var to the requests. Caller holds queueMutex and has checked that
/// the station is connected. An array tag of unknown type is probed: one element, no index.
void ReadRegister(RW_VAR* var);

#endif // MICRO850_FUNC_READ_H
