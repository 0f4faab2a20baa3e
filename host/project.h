// What a host is told: the stations, and the tags wanted from them. From a project file or from the
// command line.

#ifndef PANELHOST_PROJECT_H
#define PANELHOST_PROJECT_H

#include "cycle.h"
#include "station.h"
#include "tag_reference.h"

#include <optional>
#include <string>
#include <vector>

namespace panelhost {

struct ProjectTag {
    int station = 0;
    TagReference reference;
    const CipType* type = nullptr; ///< expected; null when the file names none
    double scale = 1;
    std::string unit;
};

struct Project {
    std::vector<StationSettings> stations;
    std::vector<ProjectTag> tags;
    CycleSettings cycle;
    bool sharedCycle = false; ///< all stations through one driver, one request in flight

    /// "Counter", or "press/Counter" when there are several stations.
    std::string label(const ProjectTag& tag) const;
};

/// "192.168.1.10" or "plc.local:44818". Throws UsageError.
StationSettings parseTarget(const std::string& text);

/// Whether a target names a project file rather than a controller.
bool isProjectFile(const std::string& target);

/// Throws UsageError that names file, line and culprit.
Project loadProject(const std::string& file);

/// The project of a target: a file, or one station without tags.
Project projectOf(const std::string& target);

/// Narrows a project file's tags to the given ones, or adds them to a station given by address. A tag
/// of a project may be written with its station in front, as in press/Counter.
void selectTags(Project* project, const std::vector<std::string>& tags);

} // namespace panelhost

#endif // PANELHOST_PROJECT_H
