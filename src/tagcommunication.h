// Stations: their sessions and connections, the handshake that opens them, and how a tag is
// addressed on the wire.

#ifndef MICRO850_TAGCOMMUNICATION_H
#define MICRO850_TAGCOMMUNICATION_H

#include "micro850/host_interface.h"

#include <QByteArray>
#include <QMap>
#include <QMutex>
#include <QString>

/// What the driver knows of one station.
struct PLCTAGCOMMUNICATION {
    bool handshakeDone = false;           ///< session registered and connection open
    quint16 sequenceCount = 0;            ///< of the next connected message; never 0 once advanced
    QByteArray sessionHandle;             ///< empty, or 4 bytes as received
    QByteArray connectionId;              ///< empty, or 4 bytes as received: O->T connection ID
    QMap<QString, QByteArray> tagDataMap; ///< by tag: the bytes last read
    QMap<QString, QByteArray> tagTypeMap; ///< by tag: its type header
};

/// All stations by number. Looking one up with [] creates it. Guarded by stationStoreMutex.
extern QMap<int, PLCTAGCOMMUNICATION> PLCDataStorage;

/// Guards the station store: host threads look values up while the communication thread stores and
/// resets. A leaf: nothing else is locked, no callback made and nothing logged while it is held.
/// Every function below takes it by itself.
extern QMutex stationStoreMutex;

/// A tag's type header: register type, the two CIP type bytes of its first reply, the marker.
enum TypeHeader {
    kTypeRegister = 0,
    kTypeCip0 = 1,
    kTypeCip1 = 2,
    kTypeMarker = 3,
    kTypeHeaderSize = 4
};
const quint8 kTypeUnknown = 0xFF;        ///< register type of a tag that was never read
const quint8 kTypeHeaderComplete = 0xFF; ///< marker: the header comes from a reply

/// True when the header comes from a reply, so that the tag's type is known.
bool isCompleteTypeHeader(const QByteArray& header);

// --- Registry ---

/// Nonzero when the station's session and connection are established. Creates a missing station.
int getHandshakeInformation(const int& station);

/// Puts a fresh, disconnected record in place of whatever the station had. Always 1.
int AddTheTagInformationContainer(const int& station);

/// Advances the station's sequence count, skipping 0. Always 1.
int addPlcNumber(int station);

// --- Handshake ---

/// 0 to 65534. Reseeds from the clock on every call: the same value all through one second.
int get_random_number();

/// Seconds since local midnight, the seed of get_random_number(). A variable, so that a test can
/// hold the clock still.
extern int (*secondsSinceMidnight)();

/// Queues the station's RegisterSession and Forward Open requests. Always 1. Caller holds
/// queueMutex and has checked that no request is pending.
int HandshakeFunction(const int& station);

/// Judges a handshake reply by its length and keeps its session handle or connection ID. 1
/// accepted, 0 refused.
int HandshakeFunctionCheck(const QByteArray* reply);

/// Marks the station connected, or forgets its session and all its tags. Always 1.
int setHandshakeInformation(const int& station, bool ok);

/// Gives a Forward Open frame a new random originator serial number.
void renewOriginatorSerial(QByteArray& forwardOpen);

// --- Tag addressing ---

/// 1 when the tag's type is known, so that a write can be built, else 0.
quint32 getAddressType(RW_VAR* var);

/// Appends the symbolic segment of a tag name: segment type, length, characters, pad.
void appendSymbolicSegment(QByteArray& path, const QString& tagName);

/// Appends the element segment of an index; nothing for index 0.
void appendElementSegment(QByteArray& path, quint32 index);

#endif // MICRO850_TAGCOMMUNICATION_H
