// The records of the host interface as a host sees them that was built elsewhere: raw memory, and
// the byte offsets of its fields as numbers. Nothing here comes from the library's own headers, so
// that a field which moves there is missed here.

#ifndef MICRO850_TESTS_FOREIGN_HOST_LAYOUT_H
#define MICRO850_TESTS_FOREIGN_HOST_LAYOUT_H

#include <QByteArray>
#include <QString>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <new>

/// An offset or size on machines with 32-bit pointers, which panels are, and with 64-bit pointers.
constexpr std::size_t at(std::size_t on32, std::size_t on64)
{
    return sizeof(void*) == 4 ? on32 : on64;
}

/// A variable.
namespace variable {
constexpr std::size_t kHostArea = 0;
constexpr std::size_t kHostAddress = 4;
constexpr std::size_t kAccessKind = 8;
constexpr std::size_t kHostWord3 = 12;
constexpr std::size_t kDeviceNo = 16;
constexpr std::size_t kResult = 20;
constexpr std::size_t kTagName = 24;
constexpr std::size_t kIndexText = at(28, 32);
constexpr std::size_t kDataKind = at(32, 40);
constexpr std::size_t kStartIndex = at(36, 44);
constexpr std::size_t kStation = at(40, 48);
constexpr std::size_t kCount = at(44, 52);
constexpr std::size_t kIsArrayTag = at(48, 56);
constexpr std::size_t kOnceFlag = at(52, 60);
constexpr std::size_t kData = at(56, 64);
constexpr std::size_t kSize = at(60, 72);
} // namespace variable

/// A prepared request.
namespace request {
constexpr std::size_t kFrame = 0;
constexpr std::size_t kFrameLength = at(4, 8);
constexpr std::size_t kReplyLength = at(8, 12);
constexpr std::size_t kFixedReplyLength = at(12, 16);
constexpr std::size_t kRequestFlags = at(16, 20);
constexpr std::size_t kVariable = at(20, 24);
constexpr std::size_t kReserved0 = at(80, 96);
constexpr std::size_t kReserved1 = at(84, 100);
constexpr std::size_t kReserved2 = at(88, 104);
} // namespace request

/// An address on a screen.
namespace address {
constexpr std::size_t kDataKind = 1;
constexpr std::size_t kIndexText = 8;
constexpr std::size_t kTagName = at(12, 16);
constexpr std::size_t kCount = at(16, 24);
constexpr std::size_t kSize = at(20, 32);
} // namespace address

/// A known tag name.
namespace tag {
constexpr std::size_t kName = 0;
constexpr std::size_t kKind = at(4, 8);
constexpr std::size_t kHostWord = at(8, 12);
constexpr std::size_t kElements = at(12, 16);
constexpr std::size_t kSize = at(16, 24);
} // namespace tag

/// The settings, words of 32 bits on every machine.
namespace settings {
constexpr std::size_t kDefaultStation = 24;
constexpr std::size_t kRetryLimit = 28;
constexpr std::size_t kFailCount = 32;
constexpr std::size_t kMultiStation = 36;
constexpr std::size_t kLinkWord0 = 40;
constexpr std::size_t kFramesExpected = 44;
constexpr std::size_t kFramesAnswered = 48;
constexpr std::size_t kLinkWord1 = 52;
constexpr std::size_t kRemoteMode = 56;
constexpr std::size_t kLocalDeviceNo = 60;
constexpr std::size_t kWriteMode = 64;
constexpr std::size_t kScanDone = 68;
constexpr std::size_t kHostHandle = 72;
constexpr std::size_t kSize = 76;
} // namespace settings

// --- Looking at a record, wherever it lies ---

inline qint32 wordAt(const void* record, std::size_t offset)
{
    qint32 word = 0;
    std::memcpy(&word, static_cast<const char*>(record) + offset, sizeof word);
    return word;
}

inline const QString& textAt(const void* record, std::size_t offset)
{
    return *reinterpret_cast<const QString*>(static_cast<const char*>(record) + offset);
}

inline const QByteArray& bytesAt(const void* record, std::size_t offset)
{
    return *reinterpret_cast<const QByteArray*>(static_cast<const char*>(record) + offset);
}

/// A record of the host's own: zeros, followed by bytes that are none of the library's business.
template <std::size_t size>
class RawRecord {
public:
    RawRecord()
    {
        std::memset(bytes_, 0, size);
        std::memset(bytes_ + size, kBeyond, kBeyondSize);
    }

    ~RawRecord()
    {
        for (std::size_t i = size; i < size + kBeyondSize; ++i)
            EXPECT_EQ(bytes_[i], kBeyond) << "written to, " << i - size << " bytes behind a record";
    }

    RawRecord(const RawRecord&) = delete;
    RawRecord& operator=(const RawRecord&) = delete;

    void* get() { return bytes_; }

    void putByte(std::size_t offset, quint8 value) { bytes_[offset] = value; }
    void putWord(std::size_t offset, qint32 value)
    {
        std::memcpy(bytes_ + offset, &value, sizeof value);
    }

    template <typename Handle>
    Handle& createHandle(std::size_t offset)
    {
        return *new (bytes_ + offset) Handle();
    }
    template <typename Handle>
    Handle& handle(std::size_t offset)
    {
        return *std::launder(reinterpret_cast<Handle*>(bytes_ + offset));
    }
    template <typename Handle>
    void destroyHandle(std::size_t offset)
    {
        handle<Handle>(offset).~Handle();
    }

private:
    static constexpr unsigned char kBeyond = 0xA5;
    static constexpr std::size_t kBeyondSize = 32;

    alignas(void*) unsigned char bytes_[size + kBeyondSize];
};

#endif // MICRO850_TESTS_FOREIGN_HOST_LAYOUT_H
