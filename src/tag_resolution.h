// The two halves of updateRwVar(), for callers that hold the store's lock already.

#ifndef MICRO850_TAG_RESOLUTION_H
#define MICRO850_TAG_RESOLUTION_H

#include "micro850/host_interface.h"
#include "tagcommunication.h"

/// Array or single value: sets isArrayTag, startIndex and, for a single value, count.
void settleAddressing(RW_VAR& var);

/// The tag's type header, at least kTypeHeaderSize bytes; one of unknown type is made when the tag
/// has none that is complete. Caller holds stationStoreMutex.
const QByteArray& ensureTypeHeader(PLCTAGCOMMUNICATION& station, const QString& tagName);

#endif // MICRO850_TAG_RESOLUTION_H
