// Goes through a recorded conversation as the host would have: pairs replies with their requests,
// screens them, has good ones stored by the driver, and says in plain words what went wrong and when.

#ifndef PANELHOST_REPLAY_H
#define PANELHOST_REPLAY_H

#include "recording.h"
#include "replayed_station.h"

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace panelhost {

class Replay : public RecordingListener {
public:
    struct Event {
        Clock::time_point time;
        std::string station;
        std::string what;
        bool isFinding; ///< something went wrong
    };
    using EventSink = std::function<void(const Event&)>;
    /// What is shown of a tag may be another now, or of all tags of the station when tag is empty.
    using ChangeSink =
        std::function<void(const ReplayedStation&, const std::string& tag, Clock::time_point)>;

    Replay(std::string libraryFile, EventSink onEvent, ChangeSink onChange);
    ~Replay() override;

    void frame(const RecordedLink& recorded, Clock::time_point time, bool fromHost,
               ByteView bytes) override;
    void damaged(const RecordedLink& recorded, Clock::time_point time,
                 const std::string& what) override;
    void closed(const RecordedLink& recorded, Clock::time_point time, RecordedEnd end) override;

    /// Tells what is still open at the end of the recording.
    void finish(Clock::time_point time);

    const std::vector<std::unique_ptr<ReplayedStation>>& stations() const { return stations_; }

private:
    enum class Kind { RegisterSession, ForwardOpen, Read, Write, OtherUnconnected, OtherConnected };

    /// A request whose answer has not come.
    struct Waiting {
        Kind kind;
        Clock::time_point firstSentAt;
        Clock::time_point sentAt;
        QByteArray frame;
        TagReference tag; ///< of a read or write
        std::string what; ///< in words
    };

    struct Link {
        ReplayedStation* station = nullptr;
        std::deque<Waiting> waiting;
        QByteArray registerReply;
        std::map<std::uint32_t, std::uint32_t> connections; ///< O->T to T->O connection ID
        bool sawRequest = false;
        bool lost = false; ///< a host would not go on after what came over it
    };

    Link& linkOf(const RecordedLink& recorded);
    ReplayedStation* stationOf(const RecordedLink& recorded);
    void request(Link* link, Clock::time_point time, ByteView bytes);
    Waiting classify(ByteView bytes);
    Waiting classifyConnected(ByteView bytes);
    void reply(Link* link, Clock::time_point time, ByteView bytes);
    static Screened screen(Link* link, const Waiting& request, ByteView reply);
    void answered(Link* link, const Waiting& request, Clock::time_point time, ByteView reply,
                  const Screened& screened);
    void good(Link* link, const Waiting& request, Clock::time_point time, ByteView reply);
    void lose(Link* link, Clock::time_point time, const std::string& finding,
              const std::string& reason);
    void found(const Link& link, Clock::time_point time, const std::string& what);
    void happened(const Link& link, Clock::time_point time, const std::string& what);

    std::string libraryFile_;
    EventSink onEvent_;
    ChangeSink onChange_;
    std::vector<std::unique_ptr<ReplayedStation>> stations_;
    std::map<std::pair<std::uint32_t, TcpEnd>, ReplayedStation*> stationsByEnds_;
    std::map<int, Link> links_;
    std::map<std::string, int> leftOut_; ///< requests of kinds that the driver does not make
};

} // namespace panelhost

#endif // PANELHOST_REPLAY_H
