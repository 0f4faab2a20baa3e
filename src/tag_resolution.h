// What updateRwVar() is made of, for callers that have no record or hold the store's lock already.

#ifndef MICRO850_TAG_RESOLUTION_H
#define MICRO850_TAG_RESOLUTION_H

#include "micro850/host_interface.h"
#include "tagcommunication.h"

/// What of a tag is meant: a range of an array, or a single value.
struct TagAddress {
    bool isArray;
    qint32 startIndex; ///< 0 for a single value
    qint32 count;      ///< 1 for a single value
};

/// Takes index and count as the host gave them.
TagAddress resolveAddress(const QString& tagName, const QString& indexText, qint32 count);

/// The tag's type header, at least kTypeHeaderSize bytes; one of unknown type is made when the tag
/// has none that is complete. Caller holds stationStoreMutex.
const QByteArray& ensureTypeHeader(PLCTAGCOMMUNICATION& station, const QString& tagName);

#endif // MICRO850_TAG_RESOLUTION_H
