// panelhost bench: how fast the cycle runs, and what it costs.

#include "command.h"
#include "output.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <iostream>
#include <sys/resource.h>

namespace panelhost {
namespace {

double processorSeconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

double micro(std::chrono::nanoseconds duration)
{
    return static_cast<double>(duration.count()) / 1e3;
}

} // namespace

int runBench(const CommonOptions& options, double duration)
{
    Project project = projectFor(options);
    project.cycle.scanInterval = std::chrono::milliseconds(0);
    Host host(project, libraryFor(options), options.traffic);
    host.start();
    waitUntilSettled(&host, firstReadDeadline(project));
    const ExitCode before = verdict(host);
    if (before != kAllGood) {
        if (before == kNoConnection)
            explainNoConnection(host);
        else
            printSnapshots(host, Format::Text, false);
        return before;
    }

    const Statistics first = host.statistics();
    const double processorBefore = processorSeconds();
    const Clock::time_point start = Clock::now();
    pauseUntil(start + std::chrono::duration_cast<Clock::duration>(
                           std::chrono::duration<double>(duration)));
    const double processor = processorSeconds() - processorBefore;
    const double elapsed = std::chrono::duration<double>(Clock::now() - start).count();
    const Statistics last = host.statistics();
    const ExitCode result = verdict(host);
    host.stop();

    const auto replies = static_cast<double>(last.replies - first.replies);
    const auto scans = static_cast<double>(last.scans - first.scans);
    const double perReply = replies > 0 ? processor / replies * 1e6 : 0;
    const RoundTrips& trips = last.roundTrips;
    if (options.format() == Format::Json) {
        nlohmann::ordered_json record;
        record["seconds"] = elapsed;
        record["stations"] = project.stations.size();
        record["round_trips_per_second"] = replies / elapsed;
        record["scans_per_second"] = scans / elapsed;
        record["processor_us_per_round_trip"] = perReply;
        record["round_trip_us"] = {{"min", micro(trips.min())},
                                   {"median", micro(trips.median())},
                                   {"p99", micro(trips.quantile(0.99))},
                                   {"max", micro(trips.max())}};
        record["failures"] = last.failures;
        std::cout << record.dump() << '\n';
    } else {
        std::printf("%.0f round trips per second, %.1f scans per second, %.1f us of processor time "
                    "per round trip\n",
                    replies / elapsed, scans / elapsed, perReply);
        std::printf("round trip min %.1f us, median %.1f us, 99 %% %.1f us, max %.1f us\n",
                    micro(trips.min()), micro(trips.median()), micro(trips.quantile(0.99)),
                    micro(trips.max()));
    }
    return result;
}

} // namespace panelhost
