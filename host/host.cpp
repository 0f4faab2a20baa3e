#include "host.h"

#include <algorithm>

namespace panelhost {

void expectType(const CipType* expected, Snapshot* shown)
{
    if (expected == nullptr || shown->type == nullptr || shown->type == expected)
        return;
    shown->quality = Quality::Bad;
    shown->reason = std::string("the controller's type is ") + shown->type->name +
                    ", the project says " + expected->name + "; mend the project file";
    shown->values.clear();
    shown->settled = true;
}

Host::Host(const Project& project, const std::string& libraryFile, Traffic* traffic)
    : project_(project)
{
    if (project_.sharedCycle) {
        cycles_.push_back(std::make_unique<Cycle>(DriverLibrary::loadPrivateCopy(libraryFile),
                                                  project_.stations, project_.cycle, traffic));
    } else {
        for (const StationSettings& station : project_.stations)
            cycles_.push_back(std::make_unique<Cycle>(DriverLibrary::loadPrivateCopy(libraryFile),
                                                      std::vector<StationSettings>{station},
                                                      project_.cycle, traffic));
    }
    for (const ProjectTag& tag : project_.tags) {
        Place place;
        place.cycle = project_.sharedCycle ? 0 : static_cast<std::size_t>(tag.station);
        place.item =
            cycles_[place.cycle]->want(project_.sharedCycle ? tag.station : 0, tag.reference);
        places_.push_back(place);
    }
}

void Host::start()
{
    for (const auto& cycle : cycles_)
        cycle->start();
}

void Host::stop()
{
    for (const auto& cycle : cycles_)
        cycle->stop();
}

Snapshot Host::snapshot(std::size_t tag) const
{
    Snapshot shown = cycles_[places_[tag].cycle]->snapshot(places_[tag].item);
    expectType(project_.tags[tag].type, &shown);
    return shown;
}

StationView Host::station(std::size_t station) const
{
    return project_.sharedCycle ? cycles_[0]->station(static_cast<int>(station))
                                : cycles_[station]->station(0);
}

Statistics Host::statistics(std::size_t station) const
{
    return project_.sharedCycle ? cycles_[0]->statistics(static_cast<int>(station))
                                : cycles_[station]->statistics(0);
}

Statistics Host::statistics() const
{
    Statistics all;
    for (std::size_t i = 0; i < project_.stations.size(); ++i)
        all.merge(statistics(i));
    return all;
}

std::future<WriteOutcome> Host::write(std::size_t tag, std::vector<Value> values)
{
    return cycles_[places_[tag].cycle]->write(places_[tag].item, std::move(values));
}

void Host::waitForChange(Clock::time_point deadline)
{
    // With several cycles a short sleep does: people do not see the difference.
    constexpr std::chrono::milliseconds kGlance(10);
    if (cycles_.size() == 1)
        seen_ = cycles_[0]->waitForChange(seen_, deadline);
    else
        std::this_thread::sleep_until(std::min(deadline, Clock::now() + kGlance));
}

} // namespace panelhost
