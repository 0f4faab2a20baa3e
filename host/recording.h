// A recorded conversation: puts the TCP segments of a capture file together again and tells, in the
// order of the capture, which EtherNet/IP frames went over which link. What they mean is replay.h.

#ifndef PANELHOST_RECORDING_H
#define PANELHOST_RECORDING_H

#include "packet_file.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>

namespace panelhost {

/// A TCP link that carried EtherNet/IP. Number tells apart links that used the same ports.
struct RecordedLink {
    int number = 0;
    TcpEnd host;
    TcpEnd controller;
};

enum class RecordedEnd {
    ByHost,
    ByController,
    ResetByHost,
    ResetByController,
};

class RecordingListener {
public:
    virtual ~RecordingListener() = default;

    virtual void frame(const RecordedLink& link, Clock::time_point time, bool fromHost,
                       ByteView bytes) = 0;
    /// The capture lacks something here, or the bytes are no frame; what says so in words.
    virtual void damaged(const RecordedLink& link, Clock::time_point time,
                         const std::string& what) = 0;
    virtual void closed(const RecordedLink& link, Clock::time_point time, RecordedEnd end) = 0;
};

class Recording {
public:
    explicit Recording(RecordingListener* listener);
    ~Recording();
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    void add(const TcpSegment& segment);
    /// Takes what still waits for bytes that the capture lacks.
    void finish();

    std::uint64_t frames() const { return frames_; }
    int links() const { return links_; }
    /// Of the first and last segment.
    Clock::time_point firstAt() const { return firstAt_; }
    Clock::time_point lastAt() const { return lastAt_; }

private:
    class Stream;
    struct Conversation;

    Conversation& conversationOf(const TcpSegment& segment);
    void handOutFrames(Conversation* conversation, bool fromFirst, Clock::time_point time);
    bool handOutFrame(Conversation* conversation, bool fromFirst, Clock::time_point time);
    void skip(Conversation* conversation, bool fromFirst, std::size_t missing,
              Clock::time_point time);
    void end(Conversation* conversation, const TcpSegment& last);
    void drain(Conversation* conversation, Clock::time_point time);

    RecordingListener* listener_;
    std::map<std::pair<TcpEnd, TcpEnd>, std::unique_ptr<Conversation>> conversations_;
    std::uint64_t frames_ = 0;
    int links_ = 0;
    Clock::time_point firstAt_;
    Clock::time_point lastAt_;
};

} // namespace panelhost

#endif // PANELHOST_RECORDING_H
