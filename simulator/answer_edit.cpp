#include "answer_edit.h"

#include "encapsulation.h"

#include <algorithm>

namespace plcsim {

namespace {

constexpr std::size_t kCommandAt = 0;
constexpr std::size_t kLengthAt = 2;
constexpr std::size_t kSessionAt = 4;
constexpr std::size_t kStatusAt = 8;
constexpr std::size_t kContextAt = 12;
constexpr std::size_t kConnectionIdAt = 36; // of SendUnitData
constexpr std::size_t kSequenceAt = 44;     // of SendUnitData
constexpr std::size_t kConnectedServiceAt = 46;
constexpr std::size_t kUnconnectedServiceAt = 40;

void put(Bytes& answer, std::size_t at, std::uint64_t value, std::size_t width)
{
    for (std::size_t i = at; i < at + width && i < answer.size(); ++i, value >>= 8)
        answer[i] = static_cast<std::uint8_t>(value & 0xFF);
}

void flip(Bytes& answer, std::size_t at, std::uint8_t bits)
{
    if (at < answer.size())
        answer[at] ^= bits;
}

bool isConnected(const Bytes& answer)
{
    return answer.size() > kCommandAt && answer[kCommandAt] == command::kSendUnitData;
}

} // namespace

Bytes withStatusOnly(const Bytes& answer, std::uint32_t status)
{
    Bytes header(answer.begin(), answer.begin() + static_cast<std::ptrdiff_t>(
                                                      std::min(kHeaderSize, answer.size())));
    put(header, kLengthAt, 0, 2);
    put(header, kStatusAt, status, 4);
    return header;
}

void resizeData(Bytes& answer, std::int64_t by)
{
    const auto wanted = static_cast<std::int64_t>(answer.size()) + by;
    answer.resize(static_cast<std::size_t>(std::max<std::int64_t>(wanted, kHeaderSize)));
    put(answer, kLengthAt, answer.size() - kHeaderSize, 2);
}

void shiftLengthField(Bytes& answer, std::int64_t by)
{
    const auto data =
        static_cast<std::int64_t>(answer.size() - std::min(kHeaderSize, answer.size()));
    put(answer, kLengthAt, static_cast<std::uint64_t>(data + by), 2);
}

void falsify(Bytes& answer, FaultField field)
{
    constexpr std::uint8_t kSomeBits = 0x5A;
    switch (field) {
    case FaultField::Session: flip(answer, kSessionAt, kSomeBits); break;
    case FaultField::Context: flip(answer, kContextAt, kSomeBits); break;
    case FaultField::Service:
        flip(answer, isConnected(answer) ? kConnectedServiceAt : kUnconnectedServiceAt, 0x01);
        break;
    case FaultField::Connection:
        if (isConnected(answer))
            flip(answer, kConnectionIdAt, kSomeBits);
        break;
    case FaultField::Sequence:
        if (isConnected(answer))
            flip(answer, kSequenceAt, kSomeBits);
        break;
    }
}

} // namespace plcsim
