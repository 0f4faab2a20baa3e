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

void printFailures(const Host& host)
{
    std::vector<ShownTag> failed = shownTags(host);
    failed.erase(
        std::remove_if(failed.begin(), failed.end(),
                       [](const ShownTag& tag) { return tag.shown.quality == Quality::Good; }),
        failed.end());
    std::size_t width = 3;
    for (const ShownTag& tag : failed)
        width = std::max(width, columns(tag.label));
    if (!failed.empty())
        std::cout << palette().bold << padded("Tag", width) << "  Why" << palette().reset << '\n';
    for (const ShownTag& tag : failed)
        std::cout << padded(tag.label, width) << "  " << palette().bad << tag.shown.reason
                  << palette().reset << '\n';
    std::cout << (failed.empty() ? "" : "\n") << host.tagCount()
              << (host.tagCount() == 1 ? " tag checked, " : " tags checked, ")
              << host.tagCount() - failed.size() << " good, " << failed.size() << " failed\n";
}

} // namespace

int runCheck(const CommonOptions& options)
{
    const Project project = projectFor(options);
    Host host(project, libraryFor(options), options.traffic);
    host.start();
    waitWithProgress(&host);
    const ExitCode result = verdict(host);
    explainNoConnection(host);
    if (options.format() == Format::Text)
        printFailures(host);
    else
        printSnapshots(host, options.format(), true);
    host.stop();
    if (options.statistics)
        printStatistics(host, options.format());
    return result;
}

} // namespace panelhost
