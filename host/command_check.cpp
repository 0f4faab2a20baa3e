// panelhost check: commissioning. Every tag of a project tried once, what failed and why.

#include "command.h"
#include "output.h"

#include <algorithm>
#include <iostream>
#include <unistd.h>

namespace panelhost {
namespace {

/// A bar on standard error while people wait; nothing when it is no terminal.
class Progress {
public:
    void show(std::size_t done, std::size_t all)
    {
        if (!visible_ || done == shown_)
            return;
        constexpr std::size_t kWidth = 40;
        const std::size_t filled = all == 0 ? kWidth : kWidth * done / all;
        std::cerr << "\r[" << std::string(filled, '#') << std::string(kWidth - filled, '.') << "] "
                  << done << " of " << all << std::flush;
        shown_ = done;
    }
    ~Progress()
    {
        if (visible_)
            std::cerr << "\r\x1b[K" << std::flush;
    }

private:
    const bool visible_ = isatty(STDERR_FILENO) != 0;
    std::size_t shown_ = static_cast<std::size_t>(-1);
};

void waitWithProgress(Host* host)
{
    Progress progress;
    const Clock::time_point deadline = firstReadDeadline(host->project());
    for (;;) {
        const std::size_t settled = settledTags(*host);
        progress.show(settled, host->tagCount());
        if (settled == host->tagCount() || Clock::now() >= deadline || stopRequested())
            return;
        host->waitForChange(std::min(deadline, Clock::now() + std::chrono::milliseconds(100)));
    }
}

} // namespace

int runCheck(const CommonOptions& options)
{
    const Project project = projectFor(options);
    Host host(project, libraryFor(options), options.traffic);
    host.start();
    waitWithProgress(&host);
    const ExitCode result = verdict(host);

    std::size_t width = 3;
    std::size_t failed = 0;
    for (std::size_t i = 0; i < host.tagCount(); ++i)
        if (host.snapshot(i).quality != Quality::Good)
            width = std::max(width, columns(project.label(project.tags[i])));
    for (std::size_t i = 0; i < host.tagCount(); ++i) {
        const Snapshot shown = host.snapshot(i);
        if (shown.quality == Quality::Good)
            continue;
        if (++failed == 1)
            std::cout << palette().bold << padded("Tag", width) << "  Why" << palette().reset
                      << '\n';
        std::cout << padded(project.label(project.tags[i]), width) << "  " << palette().bad
                  << shown.reason << palette().reset << '\n';
    }
    std::cout << (failed > 0 ? "\n" : "") << host.tagCount() << " tags checked, "
              << host.tagCount() - failed << " good, " << failed << " failed\n";
    host.stop();
    if (options.statistics)
        printStatistics(host, Format::Text);
    return result;
}

} // namespace panelhost
