// Builds Write Tag Fragmented requests.

#ifndef MICRO850_FUNC_WRITE_H
#define MICRO850_FUNC_WRITE_H

#include "micro850/host_interface.h"

/// Appends a Write Tag Fragmented request for var to the requests and rewrites var->data from the
/// host's 16-bit words to the controller's elements. Caller holds queueMutex and has checked that
/// the station is connected and that getAddressType() knows the tag.
void WriteRegister(RW_VAR* var);

#endif // MICRO850_FUNC_WRITE_H
