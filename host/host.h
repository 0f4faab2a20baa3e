// A panel's view of its controllers: the values of a project's tags and writes to them, whatever
// number of drivers and threads that takes. Start here when you use this library.

#ifndef PANELHOST_HOST_H
#define PANELHOST_HOST_H

#include "cycle.h"
#include "project.h"

#include <memory>
#include <string>
#include <vector>

namespace panelhost {

/// Makes a reading bad whose type is another than the project expects; null expects nothing.
void expectType(const CipType* expected, Snapshot* shown);

class Host {
public:
    /// Loads the driver: a private copy for each station, or one for all when the project says so.
    /// traffic may be null. Throws LibraryError.
    Host(const Project& project, const std::string& libraryFile, Traffic* traffic);

    void start();
    void stop();

    const Project& project() const { return project_; }
    std::size_t tagCount() const { return places_.size(); }

    Snapshot snapshot(std::size_t tag) const;
    StationView station(std::size_t station) const;
    Statistics statistics(std::size_t station) const;
    /// Of all stations.
    Statistics statistics() const;

    /// Starts a write. The values must have been parsed for the tag's type.
    std::future<WriteOutcome> write(std::size_t tag, std::vector<Value> values);

    /// Waits a while for something to change.
    void waitForChange(Clock::time_point deadline);

private:
    /// Where a tag or station is served.
    struct Place {
        std::size_t cycle = 0;
        ItemId item;
    };

    Project project_;
    std::vector<std::unique_ptr<Cycle>> cycles_;
    std::vector<Place> places_;
    std::uint64_t seen_ = 0;
};

} // namespace panelhost

#endif // PANELHOST_HOST_H
