// panelhost read: every tag once.

#include "command.h"
#include "output.h"

namespace panelhost {

int runRead(const CommonOptions& options)
{
    const Project project = projectFor(options);
    Host host(project, libraryFor(options), options.traffic);
    host.start();
    waitUntilSettled(&host, firstReadDeadline(project));
    const ExitCode result = verdict(host);
    if (result == kNoConnection)
        explainNoConnection(host);
    else
        printSnapshots(host, options.format(), true);
    host.stop();
    if (options.statistics)
        printStatistics(host, options.format());
    return result;
}

} // namespace panelhost
