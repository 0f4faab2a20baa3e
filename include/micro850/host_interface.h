// The host's side of the Micro850 driver: every record, callback and entry point that an operator
// panel needs. Nothing else of the library is public.
//
// Conventions
//   1. Entry points have C linkage. A host finds them by name in libmicro850.so, or links them.
//   2. The library opens no socket and starts no thread. The host sends what ComCommunication()
//      returns over its own TCP link (port 44818) and hands each reply to DataCom().
//   3. Strings, byte arrays and lists are implicitly shared Qt values, one pointer each in Qt 4.8
//      and Qt 5. Host and driver must run on the same QtCore.
//   4. Records are copied at the interface. The host keeps its own; pointers that the library
//      returns stay the library's and live as long as the function says.
//   5. No function throws. A null pointer where a record is expected makes the call do nothing.
//   6. Value bytes are little-endian, as a controller sends them.
//
// Threads One communication thread calls ComCommunication() and DataCom(), alternately. Any other
// host thread may call the remaining entry points at the same time, except those marked "before the
// cycle starts". Callbacks run on the communication thread with the queue lock held: they note the
// event and return, and never call back into the library.

#ifndef MICRO850_HOST_INTERFACE_H
#define MICRO850_HOST_INTERFACE_H

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>
#include <QtGlobal>

#include <cstddef>

// ---------------------------------------------------------------------------------------------
// Records. Their offsets on 32-bit machines, where every field takes four bytes, are fixed.
// ---------------------------------------------------------------------------------------------

/// What the driver does with a good reply, RW_VAR::accessKind. Any other value makes a reply fail.
enum AccessKind {
    kStoreReply = 0,        ///< keep the values read; for cyclic reads and once-reads
    kAcceptWithoutStore = 1 ///< accept the reply and keep nothing; for writes
};

/// One host variable, 60 bytes on 32-bit machines.
struct RW_VAR {
    qint32 hostArea = 0;             ///< the host's area code; 1..11 also pick the failure code
    qint32 hostAddress = 0;          ///< with hostArea, the host's identity of the variable
    qint32 accessKind = kStoreReply; ///< an AccessKind
    qint32 hostWord3 = 0;            ///< the host's own; carried unchanged
    qint32 deviceNo = 0;             ///< COM_INFO::localDeviceNo marks the driver's own variables
    qint32 result = 0;               ///< a return code, in the record that DataCom() returns
    QString tagName;       ///< controller tag; global variables only, one spelling per tag
    QString indexText;     ///< first element as decimal text; "" and text that is no number mean 0
    qint32 dataKind = 0;   ///< part of the key of a waiting write; give every tag its own
    qint32 startIndex = 0; ///< first element; set from indexText when the tag is resolved
    qint32 station = 0;    ///< controller number, any integer
    qint32 count = 0;      ///< elements; 16-bit words for 32-bit and 64-bit tags
    qint32 isArrayTag = 0; ///< 1 when the tag was resolved as an array, else 0
    qint32 onceFlag = 0;   ///< 1 for a once-read, 0 for a cyclic read, 2 from SetRegisterData()
    QByteArray data;       ///< the value to write, in 16-bit words, low byte first
};

static_assert(sizeof(void*) != 4 ||
                  (sizeof(RW_VAR) == 60 && offsetof(RW_VAR, tagName) == 24 &&
                   offsetof(RW_VAR, dataKind) == 32 && offsetof(RW_VAR, data) == 56),
              "hosts build this record by its offsets");

/// One prepared request, 92 bytes on 32-bit machines. The library owns it; the host reads it.
struct Protocol {
    QByteArray frame;       ///< the bytes to send, complete with encapsulation header
    qint32 frameLength = 0; ///< their number
    qint32 replyLength = 0; ///< expected reply length in bytes; -1 until DataCom() has learned it
    qint32 fixedReplyLength = 0; ///< offset of the value bytes in the reply: 52 for a read, else 0
    qint32 requestFlags = 0;     ///< always 0
    RW_VAR var;                  ///< the variable served; a handshake request sets only its station
    qint32 reserved0 = 0;        ///< 0
    qint32 reserved1 = 0;        ///< 0
    qint32 reserved2 = 0;        ///< 0
};

static_assert(sizeof(void*) != 4 || (sizeof(Protocol) == 92 && offsetof(Protocol, var) == 20 &&
                                     offsetof(Protocol, reserved0) == 80),
              "hosts read this record by its offsets");

/// A tag name that the host knows, with its kind. See PassVarName().
struct varName {
    QString name;
    qint32 kind = 0;      ///< 2 marks an array tag
    qint32 hostWord = 0;  ///< the host's own; carried unchanged
    QStringList elements; ///< the host's own; carried unchanged
};

/// One address on a screen, as ReCreatReadVarList() takes it. 20 bytes on 32-bit machines.
struct ADDRESS_RECORD {
    quint8 hostByte0 = 0;     ///< the host's own
    quint8 dataKind = 0;      ///< becomes RW_VAR::dataKind
    quint8 hostBytes[6] = {}; ///< the host's own
    QString indexText;        ///< first element as decimal text
    QString tagName;          ///< controller tag
    qint32 count = 0;         ///< elements
};

static_assert(offsetof(ADDRESS_RECORD, dataKind) == 1 &&
                  (sizeof(void*) != 4 ||
                   (sizeof(ADDRESS_RECORD) == 20 && offsetof(ADDRESS_RECORD, indexText) == 8 &&
                    offsetof(ADDRESS_RECORD, tagName) == 12 &&
                    offsetof(ADDRESS_RECORD, count) == 16)),
              "hosts build this record by its offsets");

/// Settings and status, shared between host and driver for the library's whole life. The host owns
/// it and must keep it alive. All words are 32-bit signed; 76 bytes on every machine.
struct COM_INFO {
    qint32 hostWords[6] = {};  ///< the host's own; never touched
    qint32 defaultStation = 0; ///< host: station of variables that carry none
    qint32 retryLimit = 0;     ///< host: how often a failed request is sent again
    qint32 failCount = 0;    ///< driver: failures so far; a success does not clear it, the host may
    qint32 multiStation = 0; ///< host: nonzero when variables carry their own station numbers
    qint32 linkWord0 = 0;    ///< host; set to 0 by SetComInfo()
    qint32 framesExpected = 0; ///< driver: 2 for a handshake, 1 for a read or write
    qint32 framesAnswered = 0; ///< driver: frames of the current transaction answered so far
    qint32 linkWord1 = 0;      ///< host; set to 0 by SetComInfo()
    qint32 remoteMode = 0;    ///< host: nonzero when another device serves the variables; keep it 0
    qint32 localDeviceNo = 0; ///< host: the deviceNo of variables that the driver stores
    qint32 writeMode = 0;     ///< host: 2 lets SetRegisterData() write to controllers
    qint32 scanDone = 0;      ///< driver: 1 after a full pass of the read list, or when it is empty
    qint32 hostHandle = 0;    ///< host: given back as the first argument of the done callback
};

static_assert(sizeof(COM_INFO) == 76, "the host shares this record word by word");
static_assert(offsetof(COM_INFO, defaultStation) == 24, "first word that the driver reads");
static_assert(offsetof(COM_INFO, hostHandle) == 72, "last word that the driver reads");

// ---------------------------------------------------------------------------------------------
// Callbacks
// ---------------------------------------------------------------------------------------------

/// A write or once-read has left its queue. status: 1 done, 2 failed.
using DoneCallback = void (*)(int hostHandle, int hostArea, int hostAddress, int status);

/// A transaction failed past COM_INFO::retryLimit and its station's session was dropped. emptyList
/// points to an empty QList, valid during the call; one is always 1.
using FailCallback = void (*)(void* emptyList, int hostArea, int one);

// ---------------------------------------------------------------------------------------------
// Return codes, RW_VAR::result in the record that DataCom() returns
// ---------------------------------------------------------------------------------------------

enum ReturnCode {
    kResend = 0,            ///< nothing decided yet: ComCommunication() returns the same request
    kOk = 1,                ///< done, or the reply's length was learned, or nothing was in flight
    kOkRemote = 100,        ///< done; the values belong to another device and were not stored
    kUnknownFailure = 200,  ///< a condition without a code of its own
    kHandshakeRefused = 201 ///< a RegisterSession or Forward Open reply of the wrong length
};

/// Failure bands. The code is band + 1, or band + 1 + hostArea when hostArea is 1..11.
enum FailureBand {
    kLocalAccessKind = 10,   ///< RW_VAR::accessKind is neither 0 nor 1
    kLocalNoReply = 40,      ///< reported length 0
    kLocalWrongLength = 70,  ///< reported length differs from the length learned
    kRemoteAccessKind = 110, ///< the same three for variables of another device
    kRemoteNoReply = 140,
    kRemoteWrongLength = 170
};

// ---------------------------------------------------------------------------------------------
// Entry points
// ---------------------------------------------------------------------------------------------

// The library is built with everything else hidden.
#pragma GCC visibility push(default)

extern "C" {

// --- Settings: call these once, before the cycle starts ---

/// Gives the driver the shared settings record and clears its two link words. The record must
/// outlive the cycle. Null takes the record away again; the driver then sees zeros.
void SetComInfo(COM_INFO* comInfo);

/// Registers the callbacks. Either may be null.
void RegistCallBackFuncIntf(DoneCallback doneCallback, FailCallback failCallback);

/// Gives the driver the host's local bit, word and RWI areas. They are kept and never written.
void FlashLocalRegister(void* localBits, void* localWords, void* localRwi);

/// Replaces the list of known tag names; null and empty lists change nothing. Decides which tags
/// are arrays, with a twist: the answer for a tag comes from the first entry that bears *another*
/// name. A list headed by a name that no tag bears, of kind 2, makes every tag an array.
void PassVarName(const QList<varName>* names);

// --- Variables ---

/// Appends a copy of var to the cyclic read list as it stands. Before the cycle starts. Returns the
/// new length of the list.
int AddListReadVar(const RW_VAR* var);

/// Replaces the cyclic read list: resolves each address, sorts and merges neighbours of one tag and
/// cuts them into reads of at most 15 elements. Null records are passed over; a null list counts as
/// empty. Right for 8-bit and 16-bit tags; add 32-bit and 64-bit arrays with AddListReadVar().
/// Any thread. Returns the new length of the list.
int ReCreatReadVarList(const QList<ADDRESS_RECORD*>* addresses);

/// Queues one read of var. Mode 1 appends var as it is; any other mode resolves a copy first and
/// drops it when an equal one waits. Holds at most 1024 in that mode. Any thread. Returns the
/// length of the queue.
int AddListOnceReadVar(const RW_VAR* var, int mode);

/// Queues a write of var. Mode 1 appends; any other mode replaces a waiting write with the same
/// station, dataKind, startIndex and count (never the one in service), and drops var when 1024
/// wait. Any thread. Returns the length of the queue.
int AddListWriteVar(const RW_VAR* var, int mode);

/// Switches a station off (flag 0) or on (flag 1); other flags change nothing. A station below 0
/// switches every station on. Writes and once-reads that wait for a station switched off are
/// dropped when their turn comes, without a callback. Any thread.
void EnCommStation(int station, int flag);

// --- The cycle: communication thread only ---

/// Returns the request to send now, or null when there is nothing to do. A request comes back until
/// DataCom() has retired it; the pointer is valid until then.
Protocol* ComCommunication();

/// Judges a reply to the request that ComCommunication() returned. reply is the whole reply,
/// encapsulation header first (null counts as empty); receivedLength its length as the host reports
/// it. The answer to a read or write is handed in twice: the first call, made while the request's
/// replyLength is -1, learns the length, the second stores and retires. A time-out is an empty
/// reply with length 0.
///
/// Returns the result record, valid for the library's life and rewritten by the next call. Its
/// result is a ReturnCode or a FailureBand code; its other fields are those of the variable last
/// finished. Statuses inside the reply are not looked at: that is the host's part.
RW_VAR* DataCom(QByteArray* reply, int receivedLength);

// --- Values: any thread ---

/// Copies the value last read to out, in 16-bit host registers. Ignores its second argument. An
/// 8-bit element fills one register (zero-extended), a 16-bit element one, a 32-bit element two, a
/// 64-bit element four; a bit element takes one byte; a string 2 x registers characters. registers
/// counts 16-bit registers; elements are rounded up. Bytes never read are 0.
///
/// Returns 1 with out filled, or 0 with out empty: no session, the tag was never read, out is null,
/// or more than 2 MiB were asked for.
int GetRegisterData(const QString& tagName, int ignored, const QString& indexText, int station,
                    QByteArray* out, unsigned int registers);

/// Queues a write when COM_INFO::writeMode is 2; otherwise does nothing and returns 1. station is
/// used when COM_INFO::multiStation is nonzero, else defaultStation. value holds one 16-bit word
/// per 8-bit or 16-bit element, two per 32-bit, four per 64-bit element, one byte per bit element
/// or character; count is in words (elements for bits and 8-bit values). The write leaves once the
/// tag has been read. Returns the length of the write queue.
int SetRegisterData(const QString& tagName, int dataKind, const QString& indexText, int station,
                    const QByteArray& value, int count, int hostArea, int hostAddress);

/// Always 1.
int QueryFinishFlag();

/// Always -1: addresses are tag names here.
int StringAddressToInt(int area, const QString& address);

/// Always -1.
int PLCAddressChangeIntef();

// --- Diagnostics ---

/// A Qt 4 message handler that writes each message to "debug.txt" in the current directory, which
/// it empties on the first message after load. A fatal message aborts the process. Any thread. On
/// Qt 5 install it with micro850::installMessageHandler().
void myMsgOutput(QtMsgType type, const char* text);

// --- Check sums and digits; pure functions, any thread. bytes must hold length bytes ---

/// Sum of the bytes, kept to 16 bits.
quint16 CalSUM(const quint8* bytes, quint16 length);
/// CRC-16/MODBUS.
quint16 CalCRC(const quint8* bytes, quint16 length);
/// Complement of the byte sum, kept to 8 bits, plus 1; so 256 when the sum is a multiple of 256.
int CalLRC(const quint8* bytes, quint16 length);
/// XOR of the bytes; always reads the first, whatever length says.
quint8 CalXOR(const quint8* bytes, quint16 length);
/// Writes source to *destination with its bits in reverse order.
void InvertUint16(quint16* destination, quint16 source);
/// CRC-16/ARC.
quint16 CRC16_IBM(const quint8* bytes, quint32 length);
/// 0..15 to '0'..'9', 'A'..'F'; greater values go on along the alphabet.
int DigitalToASCII(int value);
/// '0'..'9', 'A'..'F' to 0..15; lower case is not folded.
int ASCIIToDigital(int character);

} // extern "C"

#pragma GCC visibility pop

// ---------------------------------------------------------------------------------------------
// Log handler on Qt 5
// ---------------------------------------------------------------------------------------------

namespace micro850 {

/// The type of myMsgOutput().
using MessageHandler = void (*)(QtMsgType type, const char* text);

#if QT_VERSION >= QT_VERSION_CHECK(5, 0, 0)

namespace detail {
inline MessageHandler& installedMessageHandler()
{
    static MessageHandler handler = nullptr;
    return handler;
}

inline void forwardMessage(QtMsgType type, const QMessageLogContext&, const QString& text)
{
    installedMessageHandler()(type, text.toLocal8Bit().constData());
}
} // namespace detail

/// Routes every Qt message to handler, which is myMsgOutput as found in the library. Call it again
/// with null before the library is unloaded.
inline void installMessageHandler(MessageHandler handler)
{
    if (handler != nullptr)
        detail::installedMessageHandler() = handler;
    qInstallMessageHandler(handler != nullptr ? detail::forwardMessage : nullptr);
}

#else

inline void installMessageHandler(MessageHandler handler)
{
    qInstallMsgHandler(handler);
}

#endif

} // namespace micro850

#endif // MICRO850_HOST_INTERFACE_H
