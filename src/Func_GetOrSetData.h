// The host's access to values: fetch what was last read, queue a write.

#ifndef MICRO850_FUNC_GETORSETDATA_H
#define MICRO850_FUNC_GETORSETDATA_H

#include "micro850/host_interface.h"

/// 1 when a value of var's tag is stored for its station, else 0. Creates a missing station. Takes
/// stationStoreMutex.
int getTagData(RW_VAR* var);

/// Would mirror a write into the host's local areas; does nothing.
void WriteDataToLocal(RW_VAR* var);

#endif // MICRO850_FUNC_GETORSETDATA_H
