#include "command.h"

#include <QtGlobal>

#include <algorithm>
#include <csignal>
#include <iostream>
#include <poll.h>

namespace panelhost {
namespace {

Interrupt& stopSignal()
{
    static Interrupt interrupt;
    return interrupt;
}

volatile std::sig_atomic_t stopped = 0;

void onSignal(int)
{
    stopped = 1;
    stopSignal().set();
}

/// Another attempt may help when another panel just holds the connection; anything else that went
/// wrong before the station was ever online will go wrong again.
bool hopeless(const StationView& view)
{
    constexpr int kPatience = 4;
    if (view.online || view.attempts == 0)
        return false;
    return view.trouble != StationTrouble::ConnectionBusy || view.attempts >= kPatience;
}

void dropMessage(QtMsgType, const QMessageLogContext&, const QString&)
{
}

} // namespace

void muteDriverMessages()
{
    qInstallMessageHandler(dropMessage);
}

std::string nextStep(StationTrouble trouble)
{
    switch (trouble) {
    case StationTrouble::Unreachable:
    case StationTrouble::NotEtherNetIp: return "; check address and port";
    case StationTrouble::Silent:
        return "; is it an EtherNet/IP device? If it is only slow, raise --timeout";
    default: return {};
    }
}

void explainNoConnection(const Host& host)
{
    for (std::size_t i = 0; i < host.project().stations.size(); ++i) {
        const StationView view = host.station(i);
        if (!view.online && view.attempts > 0)
            std::cerr << "panelhost: " << host.project().stations[i].name << ": " << view.reason
                      << nextStep(view.trouble) << '\n';
    }
}

Project projectFor(const CommonOptions& options)
{
    Project project = projectOf(options.target);
    for (StationSettings& station : project.stations) {
        if (options.timeout > 0)
            station.timeout = std::chrono::milliseconds(options.timeout);
        if (options.retries >= 0)
            station.retries = options.retries;
    }
    selectTags(&project, options.tags);
    // Commands that look once need no scan after scan while a slower station is still answering.
    if (project.cycle.scanInterval.count() == 0)
        project.cycle.scanInterval = std::chrono::milliseconds(500);
    if (project.tags.empty())
        throw UsageError("no tag given, and the target names none");
    return project;
}

std::string libraryFor(const CommonOptions& options)
{
    return options.library.empty() ? DriverLibrary::defaultFile() : options.library;
}

namespace {

bool settled(const Host& host, std::size_t tag)
{
    const auto station = static_cast<std::size_t>(host.project().tags[tag].station);
    return host.snapshot(tag).settled || hopeless(host.station(station));
}

} // namespace

void waitUntilSettled(Host* host, Clock::time_point deadline)
{
    std::size_t next = 0;
    while (Clock::now() < deadline && !stopRequested()) {
        while (next < host->tagCount() && settled(*host, next))
            ++next;
        if (next == host->tagCount())
            return;
        host->waitForChange(std::min(deadline, Clock::now() + std::chrono::milliseconds(100)));
    }
}

std::size_t settledTags(const Host& host)
{
    std::size_t count = 0;
    for (std::size_t tag = 0; tag < host.tagCount(); ++tag)
        count += settled(host, tag) ? 1 : 0;
    return count;
}

Clock::time_point firstReadDeadline(const Project& project)
{
    std::chrono::milliseconds longest(0);
    for (const StationSettings& station : project.stations)
        longest = std::max(longest, station.timeout * (station.retries + 3));
    // Two requests find a tag out and read it; 20 ms each is slow for a controller.
    const auto reading = std::chrono::milliseconds(60) * static_cast<int>(project.tags.size());
    return Clock::now() + longest + reading + std::chrono::seconds(8);
}

ExitCode verdict(const Host& host)
{
    bool allGood = true;
    bool anyAnswer = false;
    for (std::size_t tag = 0; tag < host.tagCount(); ++tag) {
        const Snapshot shown = host.snapshot(tag);
        allGood = allGood && shown.quality == Quality::Good;
        anyAnswer = anyAnswer || shown.settled;
    }
    if (allGood)
        return kAllGood;
    for (std::size_t i = 0; i < host.project().stations.size(); ++i)
        anyAnswer = anyAnswer || host.station(i).online;
    return anyAnswer ? kSomeTagBad : kNoConnection;
}

void catchSignals()
{
    stopSignal();
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);
}

bool stopRequested()
{
    return stopped != 0;
}

void pauseUntil(Clock::time_point deadline)
{
    pollfd descriptor = {stopSignal().descriptor(), POLLIN, 0};
    while (!stopRequested()) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0)
            return;
        poll(&descriptor, 1, static_cast<int>(std::min<std::int64_t>(left.count(), 60000)));
    }
}

} // namespace panelhost
