// EtherNet/IP and CIP as this driver speaks them: commands, byte positions, segments, and typed
// access to the bytes. docs/wire-format.md draws the frames that this header names.

#ifndef MICRO850_WIRE_H
#define MICRO850_WIRE_H

#include <QByteArray>
#include <QtGlobal>

namespace wire {

// --- Encapsulation header, the first 24 bytes of every frame ---

enum EncapsulationHeader {
    kLength = 2, ///< bytes after the header
    kSessionHandle = 4,
    kEncapsulationHeaderSize = 24
};

// --- RegisterSession ---

const int kRegisterSessionReplyLength = 28;

// --- Forward Open, in SendRRData ---

const int kForwardOpenReplyLength = 70;

/// The part of a Forward Open's originator serial number that differs from handshake to handshake.
const int kOriginatorSerialHigh = 62;

/// Where a Forward Open reply tells the O->T connection ID that the controller chose.
const int kReplyConnectionId = 44;

// --- Connected request and reply, in SendUnitData ---

enum ConnectedFrame {
    kConnectionId = 36,
    kConnectedItemLength = 42, ///< bytes from the sequence count on
    kSequenceCount = 44,
    kService = 46,
    kRequestPathSize = 47, ///< in 16-bit words
    kRequestPath = 48
};

/// A connected reply: service 46, reserved 47, general status 48, extended status size 49, then, of
/// a good Read Tag reply, the CIP data type and the values.
enum ReadTagReply { kShortestDataReply = 50, kReplyDataType = 50, kReplyValues = 52 };

enum Service { kReadTag = 0x4C, kWriteTagFragmented = 0x53 };

/// The element count, 32 bits wide, and two zero bytes. What a controller reads of it: a count of
/// 16 bits in a read, which ends there, and in a write the count and a byte offset of 32 bits.
const int kElementCountLength = 6;

/// Session handle and connection ID are four bytes, copied as received.
const int kIdentifierLength = 4;

// --- Request path segments ---

enum Segment {
    kSymbolicSegment = 0x91,
    kElement8Bit = 0x28,
    kElement16Bit = 0x29,
    // Kept on purpose: hosts have always been sent 0x30 for a 32-bit index, not 0x2A.
    kElement32Bit = 0x30
};

// --- Frames in text, parsed once ---

/// Reads "65 00 04" as the bytes 65 00 04: two hexadecimal digits a byte, single blanks between.
QByteArray parseTemplate(const char* text);

const QByteArray& registerSessionTemplate();
const QByteArray& forwardOpenTemplate();

/// A connected request up to its path size, for a service; every varying field is 0.
const QByteArray& readTagTemplate();
const QByteArray& writeTagFragmentedTemplate();

// --- Typed access, little-endian. The caller has made sure that the bytes exist ---

inline quint8 getU8(const QByteArray& bytes, int at)
{
    return static_cast<quint8>(bytes.at(at));
}

inline void putU8(char* at, quint32 value)
{
    *at = static_cast<char>(static_cast<quint8>(value));
}

inline void putU16(char* at, quint32 value)
{
    putU8(at, value);
    putU8(at + 1, value >> 8);
}

inline void putU32(char* at, quint32 value)
{
    putU16(at, value);
    putU16(at + 2, value >> 16);
}

/// The bytes of a frame, for writing. Out of line on purpose: inlined, GCC 12 takes the memory behind
/// a Qt 5 array's header for a region of size 0 and warns of every write.
char* mutableBytes(QByteArray& bytes);

/// Makes room for size bytes at the end and returns where they begin. They hold nothing yet.
char* grow(QByteArray& bytes, int size);

} // namespace wire

#endif // MICRO850_WIRE_H
