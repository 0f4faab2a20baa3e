// panelhost watch: the same tags again and again.

#include "command.h"
#include "output.h"

#include <iostream>
#include <unistd.h>

namespace panelhost {

int runWatch(const CommonOptions& options, const WatchOptions& watch)
{
    using std::chrono::duration_cast;
    const auto interval =
        duration_cast<Clock::duration>(std::chrono::duration<double>(watch.interval));
    Project project = projectFor(options);
    project.cycle.scanInterval = duration_cast<std::chrono::milliseconds>(interval);
    project.cycle.staleAfter += project.cycle.scanInterval;
    Host host(project, libraryFor(options), options.traffic);
    host.start();
    waitUntilSettled(&host, firstReadDeadline(project));

    if (verdict(host) == kNoConnection) {
        explainNoConnection(host);
        return kNoConnection;
    }

    const Clock::time_point end =
        watch.duration > 0
            ? Clock::now() +
                  duration_cast<Clock::duration>(std::chrono::duration<double>(watch.duration))
            : Clock::time_point::max();
    Clock::time_point next = Clock::now();
    for (int round = 1; !stopRequested() && std::cout; ++round) {
        if (options.format() == Format::Text)
            std::cout << palette().dim << (round > 1 ? "\n" : "") << "Scan " << round
                      << palette().reset << '\n';
        printSnapshots(host, options.format(), round == 1);
        next += interval;
        if (round == watch.count || next > end)
            break;
        pauseUntil(next);
    }
    const ExitCode result = verdict(host);
    host.stop();
    if (options.statistics || options.format() == Format::Text)
        printStatistics(host, options.format());
    return result;
}

} // namespace panelhost
