// What read and write requests have in common: the frame around the path and the data, and the
// record in which it waits.

#ifndef MICRO850_CONNECTED_REQUEST_H
#define MICRO850_CONNECTED_REQUEST_H

#include "micro850/host_interface.h"
#include "tagcommunication.h"
#include "wire.h"

/// The fields of a station's connection that each of its requests carries.
struct ConnectionFields {
    char sessionHandle[wire::kIdentifierLength];
    char connectionId[wire::kIdentifierLength];
    quint16 sequenceCount;
};

/// Bytes that a station lacks are 0. Caller holds stationStoreMutex.
ConnectionFields connectionFields(const PLCTAGCOMMUNICATION& station);

/// Starts a frame from its template and appends the tag's symbolic segment.
QByteArray startConnectedRequest(const QByteArray& frameTemplate, const QString& tagName);

/// Writes the path size of a path that ends where the frame ends now.
void endRequestPath(QByteArray& frame);

/// Appends an element count in its 32-bit form and the two zero bytes behind it.
void appendElementCount(QByteArray& frame, quint32 elements);

/// Writes lengths, session handle, connection ID and sequence count into a frame that is otherwise
/// complete. Lengths are cut to the width of their fields.
void finishConnectedRequest(QByteArray& frame, const ConnectionFields& connection);

/// Appends the frame to the requests and announces a transaction of one frame. Caller holds
/// queueMutex.
void queueConnectedRequest(const QByteArray& frame, const RW_VAR& var, int fixedReplyLength);

#endif // MICRO850_CONNECTED_REQUEST_H
