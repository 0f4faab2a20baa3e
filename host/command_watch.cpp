// panelhost watch: the same tags again and again.

#include "command.h"
#include "live_table.h"
#include "output.h"

#include <algorithm>
#include <iostream>

namespace panelhost {
namespace {

using std::chrono::duration_cast;

Clock::duration seconds(double count)
{
    return duration_cast<Clock::duration>(std::chrono::duration<double>(count));
}

/// When to stop, as far as the options say.
Clock::time_point endOf(const WatchOptions& watch, Clock::time_point start)
{
    Clock::time_point end = Clock::time_point::max();
    if (watch.duration > 0)
        end = start + seconds(watch.duration);
    if (watch.count > 0)
        end = std::min(end, start + seconds(watch.interval) * (watch.count - 1));
    return end;
}

std::vector<std::string> stationsThatAreAway(const Host& host)
{
    std::vector<std::string> notes;
    for (std::size_t i = 0; i < host.project().stations.size(); ++i) {
        const StationView view = host.station(i);
        if (!view.online)
            notes.push_back(host.project().stations[i].name + ": " + view.reason +
                            (view.attempts > 0 ? "; trying again" : ""));
    }
    return notes;
}

void watchOnTerminal(Host* host, const WatchOptions& watch)
{
    // Ages move even when scans are far apart.
    constexpr std::chrono::milliseconds kRefresh(250);
    const Clock::duration pause = std::min<Clock::duration>(seconds(watch.interval), kRefresh);
    const Clock::time_point end = endOf(watch, Clock::now());
    std::vector<TagHistory> histories(host->tagCount());
    InPlace terminal;
    while (!stopRequested()) {
        const Clock::time_point now = Clock::now();
        std::vector<LiveRow> rows;
        for (ShownTag& tag : shownTags(*host)) {
            TagHistory& history = histories[rows.size()];
            history.add(tag.shown, now);
            rows.push_back({std::move(tag), history.changesPerSecond(now), history.recent()});
        }
        const TerminalSize size = terminalSize();
        terminal.draw(liveTableLines(rows, stationsThatAreAway(*host), now, size), size);
        if (now >= end)
            break;
        pauseUntil(std::min(now + pause, end));
        terminal.sleepIfAsked();
    }
}

void watchAsLines(Host* host, Format format, const WatchOptions& watch)
{
    const Clock::duration interval = seconds(watch.interval);
    Clock::time_point next = Clock::now();
    const Clock::time_point end = endOf(watch, next);
    for (int round = 1; !stopRequested() && std::cout; ++round) {
        if (format == Format::Text)
            std::cout << palette().dim << (round > 1 ? "\n" : "") << "Scan " << round
                      << palette().reset << '\n';
        printSnapshots(*host, format, round == 1);
        next += interval;
        if (next > end)
            break;
        pauseUntil(next);
    }
}

} // namespace

int runWatch(const CommonOptions& options, const WatchOptions& watch)
{
    Project project = projectFor(options);
    project.cycle.scanInterval = duration_cast<std::chrono::milliseconds>(seconds(watch.interval));
    project.cycle.staleAfter += project.cycle.scanInterval;
    Host host(project, libraryFor(options), options.traffic);
    host.start();
    waitUntilSettled(&host, firstReadDeadline(project));

    if (verdict(host) == kNoConnection) {
        explainNoConnection(host);
        return kNoConnection;
    }
    if (options.format() == Format::Text && canDrawInPlace())
        watchOnTerminal(&host, watch);
    else
        watchAsLines(&host, options.format(), watch);
    const ExitCode result = verdict(host);
    host.stop();
    if (options.statistics || options.format() == Format::Text)
        printStatistics(host, options.format());
    return result;
}

} // namespace panelhost
