// Simulated controllers, a host that watches them, and every frame between them.

#ifndef TESTS_HOST_WATCHED_STATIONS_H
#define TESTS_HOST_WATCHED_STATIONS_H

#include "host.h"
#include "simulator.h"

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace panelhost {

/// What went over a station's links, in order.
class Recorder : public Traffic {
public:
    struct Event {
        enum Kind { Opened, Closed, Sent, Received } kind;
        QByteArray frame;

        std::uint16_t command() const { return ByteView(frame).u16(frame::kCommand); }
    };

    void opened(const std::string&, const Link&) override { add({Event::Opened, {}}); }
    void closed(const std::string&, const Link&) override { add({Event::Closed, {}}); }
    void frame(const std::string&, const Link&, bool sent, ByteView bytes) override;
    void note(const std::string&, const std::string&) override {}

    std::vector<Event> events() const;

private:
    void add(Event event);

    mutable std::mutex mutex_;
    std::vector<Event> events_;
};

/// A Read Tag request as it went out.
struct SentRead {
    std::string tag;
    ReadRequest request;
    int session = 0; ///< number of the session it belongs to, from 1
};
std::vector<SentRead> sentReads(const std::vector<Recorder::Event>& events);

class WatchedStations {
public:
    WatchedStations();

    /// Starts a controller with these tags, written as a tag file, and watches the references.
    e2e::Simulator& add(const std::string& tagFile, const std::vector<std::string>& references,
                        int responseMilliseconds = 0);
    CycleSettings& settings() { return project_.cycle; }
    StationSettings& station(std::size_t index) { return project_.stations[index]; }
    void shareOneCycle() { project_.sharedCycle = true; }

    /// Starts the host and waits until every reference is good.
    void startAndSettle();
    void start();

    Host& host() { return *host_; }
    Recorder& recorder() { return recorder_; }
    e2e::Simulator& simulator(std::size_t index = 0) { return *simulators_[index]; }

    Snapshot shown(std::size_t reference) const { return host_->snapshot(reference); }
    /// The value as people see it, or its quality and reason.
    std::string text(std::size_t reference) const;
    bool isGood(std::size_t reference) const { return shown(reference).quality == Quality::Good; }

    /// Parses the text for the reference's type and writes it.
    std::future<WriteOutcome> write(std::size_t reference, const std::string& text);

private:
    Project project_;
    Recorder recorder_;
    std::vector<std::unique_ptr<e2e::TemporaryFile>> files_;
    std::vector<std::unique_ptr<e2e::Simulator>> simulators_;
    std::unique_ptr<Host> host_;
};

/// True as soon as the condition holds; false when the time is over.
bool becomesTrue(const std::function<bool()>& condition,
                 std::chrono::milliseconds patience = std::chrono::seconds(10));

/// One [[tag]] of a tag file; further lines are separated by newlines.
std::string tagEntry(const std::string& name, const std::string& type,
                     const std::string& more = {});

} // namespace panelhost

#endif // TESTS_HOST_WATCHED_STATIONS_H
