#include "watched_stations.h"

#include "screening.h"

#include <stdexcept>
#include <thread>

namespace panelhost {

void Recorder::frame(const std::string&, const Link&, bool sent, ByteView bytes)
{
    add({sent ? Event::Sent : Event::Received,
         QByteArray(reinterpret_cast<const char*>(bytes.data()), static_cast<int>(bytes.size()))});
}

void Recorder::add(Event event)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    events_.push_back(std::move(event));
}

std::vector<Recorder::Event> Recorder::events() const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return events_;
}

std::vector<SentRead> sentReads(const std::vector<Recorder::Event>& events)
{
    std::vector<SentRead> reads;
    int session = 0;
    for (const Recorder::Event& event : events) {
        if (event.kind != Recorder::Event::Sent)
            continue;
        if (event.command() == frame::kRegisterSession)
            ++session;
        const ByteView bytes(event.frame);
        const ReadRequest request = decodeReadRequest(bytes);
        if (event.command() != frame::kSendUnitData || !request.valid)
            continue;
        const std::size_t name = frame::connected::kRequestPath + 1;
        reads.push_back({event.frame.mid(static_cast<int>(name + 1), bytes.u8(name)).toStdString(),
                         request, session});
    }
    return reads;
}

WatchedStations::WatchedStations()
{
    project_.cycle.refusedRetry = std::chrono::milliseconds(300);
}

e2e::Simulator& WatchedStations::add(const std::string& tagFile,
                                     const std::vector<std::string>& references,
                                     int responseMilliseconds)
{
    files_.push_back(std::make_unique<e2e::TemporaryFile>(".toml", tagFile));
    simulators_.push_back(std::make_unique<e2e::Simulator>(
        files_.back()->path(),
        std::vector<std::string>{"--response-time", std::to_string(responseMilliseconds)}));
    project_.stations.push_back(parseTarget(simulators_.back()->address()));
    project_.stations.back().timeout = std::chrono::milliseconds(300);
    for (const std::string& reference : references) {
        ProjectTag tag;
        tag.station = static_cast<int>(project_.stations.size()) - 1;
        tag.reference = parseTagReference(reference);
        project_.tags.push_back(tag);
    }
    return *simulators_.back();
}

void WatchedStations::start()
{
    host_ = std::make_unique<Host>(project_, MICRO850_LIBRARY, &recorder_);
    host_->start();
}

void WatchedStations::startAndSettle()
{
    start();
    for (std::size_t i = 0; i < project_.tags.size(); ++i)
        if (!becomesTrue([&] { return isGood(i); }))
            throw std::runtime_error("never good: " + text(i));
}

std::string WatchedStations::text(std::size_t reference) const
{
    const Snapshot snapshot = shown(reference);
    std::string text;
    for (const Value& value : snapshot.values)
        text += (text.empty() ? "" : " ") + formatValue(*snapshot.type, value);
    if (snapshot.quality == Quality::Good)
        return text;
    return (snapshot.quality == Quality::Stale ? "stale: " : "bad: ") + snapshot.reason;
}

std::future<WriteOutcome> WatchedStations::write(std::size_t reference, const std::string& text)
{
    return host_->write(reference, {parseValue(*shown(reference).type, text)});
}

bool becomesTrue(const std::function<bool()>& condition, std::chrono::milliseconds patience)
{
    const Clock::time_point deadline = Clock::now() + patience;
    while (!condition()) {
        if (Clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

std::string tagEntry(const std::string& name, const std::string& type, const std::string& more)
{
    return "[[tag]]\nname = \"" + name + "\"\ntype = \"" + type + "\"\n" + more + "\n";
}

} // namespace panelhost
