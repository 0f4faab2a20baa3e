#include "recording.h"

#include <algorithm>
#include <optional>
#include <vector>

namespace panelhost {
namespace {

/// Segments may arrive before an earlier one, but not so many and not so long before: then the earlier
/// one was not captured.
constexpr std::size_t kMostOutOfOrder = 32;
constexpr std::chrono::milliseconds kLongestOutOfOrder(300);

bool isKnownCommand(std::uint16_t command)
{
    switch (command) {
    case frame::kListServices:
    case frame::kListIdentity:
    case frame::kListInterfaces:
    case frame::kRegisterSession:
    case frame::kUnRegisterSession:
    case frame::kSendRRData:
    case frame::kSendUnitData: return true;
    default: return false;
    }
}

bool looksLikeFrame(ByteView bytes)
{
    return isKnownCommand(bytes.u16(frame::kCommand)) && bytes.u32(frame::kStatus) <= 0xFFFF &&
           bytes.u32(frame::kOptions) == 0;
}

/// Whether the host sent this frame, as far as the frame itself tells.
std::optional<bool> sentByHost(ByteView bytes)
{
    switch (bytes.u16(frame::kCommand)) {
    case frame::kRegisterSession: return bytes.u32(frame::kSessionHandle) == 0;
    case frame::kSendRRData:
        return (bytes.u8(frame::unconnected::kService) & frame::kReplyBit) == 0;
    case frame::kSendUnitData:
        return (bytes.u8(frame::connected::kService) & frame::kReplyBit) == 0;
    default: return std::nullopt;
    }
}

} // namespace

/// The bytes that one end sent, in order.
class Recording::Stream {
public:
    void start(std::uint32_t sequence)
    {
        started_ = true;
        next_ = sequence;
    }

    void add(const TcpSegment& segment)
    {
        if (!started_)
            start(segment.sequence);
        waiting_.push_back(
            {segment.time,
             segment.sequence,
             {reinterpret_cast<const char*>(segment.payload.data()), segment.payload.size()}});
        takeWaiting();
    }

    /// Bytes missing before the earliest segment that waits; 0 when none waits.
    std::uint32_t gap() const
    {
        std::uint32_t smallest = 0;
        for (const Piece& piece : waiting_) {
            const std::uint32_t distance = piece.sequence - next_;
            smallest = smallest == 0 ? distance : std::min(smallest, distance);
        }
        return smallest;
    }
    bool waitsTooLong(Clock::time_point now) const
    {
        return waiting_.size() > kMostOutOfOrder ||
               (!waiting_.empty() && now - waiting_.front().time > kLongestOutOfOrder);
    }

    void skip(std::size_t count)
    {
        next_ += static_cast<std::uint32_t>(count);
        bytes_.clear();
        takeWaiting();
    }

    ByteView bytes() const { return {bytes_.data(), bytes_.size()}; }
    void drop(std::size_t count)
    {
        bytes_.erase(0, count);
        lastPieceAt_ -= std::min(lastPieceAt_, count);
    }
    /// Drops what is no frame: all, unless the last segment looks like the beginning of one.
    std::size_t dropRubbish()
    {
        const std::size_t last = lastPieceAt_ < bytes_.size() ? lastPieceAt_ : 0;
        const ByteView piece(bytes_.data() + last, bytes_.size() - last);
        const std::size_t rubbish = last > 0 && looksLikeFrame(piece) ? last : bytes_.size();
        bytes_.erase(0, rubbish);
        lastPieceAt_ = 0;
        return rubbish;
    }
    void dropAll() { bytes_.clear(); }

private:
    struct Piece {
        Clock::time_point time;
        std::uint32_t sequence;
        std::string bytes;
    };

    void takeWaiting()
    {
        bool took = true;
        while (took) {
            took = false;
            for (auto piece = waiting_.begin(); piece != waiting_.end(); ++piece) {
                const auto ahead = static_cast<std::int32_t>(piece->sequence - next_);
                if (ahead > 0)
                    continue;
                // Sent again: only what is new counts.
                const auto known = static_cast<std::size_t>(-static_cast<std::int64_t>(ahead));
                if (known < piece->bytes.size()) {
                    lastPieceAt_ = bytes_.size();
                    bytes_ += piece->bytes.substr(known);
                    next_ += static_cast<std::uint32_t>(piece->bytes.size() - known);
                }
                waiting_.erase(piece);
                took = true;
                break;
            }
        }
    }

    bool started_ = false;
    std::uint32_t next_ = 0;
    std::string bytes_;
    std::size_t lastPieceAt_ = 0; ///< where the last segment's bytes begin in bytes_
    std::vector<Piece> waiting_;
};

/// What is known of one TCP link. Ends are told apart by their order, until it is clear which of them
/// is the host.
struct Recording::Conversation {
    TcpEnd first;
    TcpEnd second;
    Stream fromFirst;
    Stream fromSecond;
    std::optional<bool> firstIsHost;
    RecordedLink link;
    bool recognised = false; ///< a frame was seen
    bool ended = false;

    Stream& stream(bool ofFirst) { return ofFirst ? fromFirst : fromSecond; }
};

Recording::Recording(RecordingListener* listener) : listener_(listener)
{
}

Recording::~Recording() = default;

Recording::Conversation& Recording::conversationOf(const TcpSegment& segment)
{
    const TcpEnd first = std::min(segment.from, segment.to);
    const TcpEnd second = std::max(segment.from, segment.to);
    std::unique_ptr<Conversation>& entry = conversations_[{first, second}];
    const bool opens = segment.syn && !segment.ack;
    if (entry == nullptr || opens || entry->ended) {
        if (entry != nullptr && !entry->ended)
            drain(entry.get(), segment.time);
        entry = std::make_unique<Conversation>();
        entry->first = first;
        entry->second = second;
        if (segment.syn)
            entry->firstIsHost = (segment.from == first) == opens;
        else if ((first.port == kEtherNetIpPort) != (second.port == kEtherNetIpPort))
            entry->firstIsHost = second.port == kEtherNetIpPort;
    }
    return *entry;
}

void Recording::add(const TcpSegment& segment)
{
    if (firstAt_ == Clock::time_point())
        firstAt_ = segment.time;
    lastAt_ = segment.time;
    // The good-byes that follow the first one of a link tell nothing new.
    const auto known = conversations_.find(
        {std::min(segment.from, segment.to), std::max(segment.from, segment.to)});
    if (known != conversations_.end() && known->second->ended && !segment.syn &&
        segment.payload.size() == 0)
        return;

    Conversation& conversation = conversationOf(segment);
    const bool fromFirst = segment.from == conversation.first;
    Stream& stream = conversation.stream(fromFirst);
    if (segment.syn)
        stream.start(segment.sequence + 1);
    if (segment.payload.size() > 0) {
        stream.add(segment);
        handOutFrames(&conversation, fromFirst, segment.time);
        if (segment.cutOff > 0 && stream.gap() == 0)
            skip(&conversation, fromFirst, segment.cutOff, segment.time);
    }
    for (const bool first : {true, false})
        if (conversation.stream(first).waitsTooLong(segment.time))
            skip(&conversation, first, conversation.stream(first).gap(), segment.time);
    if (segment.fin || segment.reset)
        end(&conversation, segment);
}

void Recording::handOutFrames(Conversation* conversation, bool fromFirst, Clock::time_point time)
{
    while (handOutFrame(conversation, fromFirst, time)) {
    }
}

/// Hands out the frame at the front, if it is complete; false when there is nothing more to do.
bool Recording::handOutFrame(Conversation* conversation, bool fromFirst, Clock::time_point time)
{
    Stream& stream = conversation->stream(fromFirst);
    const ByteView bytes = stream.bytes();
    if (bytes.size() < frame::kHeaderSize)
        return false;
    if (!looksLikeFrame(bytes)) {
        // Another protocol; or a capture that begins within a frame, whose next segment may begin
        // with one.
        const std::size_t rubbish = stream.dropRubbish();
        if (conversation->recognised)
            listener_->damaged(conversation->link, time,
                               std::to_string(rubbish) + " bytes are no EtherNet/IP frame");
        return true;
    }
    const std::size_t size = frame::kHeaderSize + bytes.u16(frame::kLength);
    if (bytes.size() < size)
        return false;
    const ByteView frame(bytes.data(), size);
    if (!conversation->firstIsHost)
        conversation->firstIsHost = sentByHost(frame).value_or(true) == fromFirst;
    if (!conversation->recognised) {
        conversation->recognised = true;
        const bool firstIsHost = *conversation->firstIsHost;
        conversation->link = {links_++, firstIsHost ? conversation->first : conversation->second,
                              firstIsHost ? conversation->second : conversation->first};
    }
    ++frames_;
    listener_->frame(conversation->link, time, fromFirst == *conversation->firstIsHost, frame);
    stream.drop(size);
    return true;
}

/// Goes on behind bytes that the capture lacks.
void Recording::skip(Conversation* conversation, bool fromFirst, std::size_t missing,
                     Clock::time_point time)
{
    if (conversation->recognised)
        listener_->damaged(conversation->link, time,
                           std::to_string(missing) + " bytes are missing from the capture");
    conversation->stream(fromFirst).skip(missing);
    handOutFrames(conversation, fromFirst, time);
}

void Recording::drain(Conversation* conversation, Clock::time_point time)
{
    for (const bool fromFirst : {true, false}) {
        while (const std::uint32_t missing = conversation->stream(fromFirst).gap())
            skip(conversation, fromFirst, missing, time);
        if (conversation->recognised && conversation->stream(fromFirst).bytes().size() > 0)
            listener_->damaged(conversation->link, time, "the link ends in the middle of a frame");
        conversation->stream(fromFirst).dropAll();
    }
}

void Recording::end(Conversation* conversation, const TcpSegment& last)
{
    drain(conversation, last.time);
    conversation->ended = true;
    if (!conversation->recognised)
        return;
    const bool byHost = last.from == conversation->link.host;
    RecordedEnd end = byHost ? RecordedEnd::ByHost : RecordedEnd::ByController;
    if (last.reset)
        end = byHost ? RecordedEnd::ResetByHost : RecordedEnd::ResetByController;
    listener_->closed(conversation->link, last.time, end);
}

void Recording::finish()
{
    for (const auto& [ends, conversation] : conversations_)
        if (!conversation->ended)
            drain(conversation.get(), lastAt_);
}

} // namespace panelhost
