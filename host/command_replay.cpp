// panelhost replay: a recorded conversation, what went wrong in it, and what a host showed.

#include "capture.h"
#include "command.h"
#include "output.h"
#include "replay.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <iostream>
#include <map>

namespace panelhost {
namespace {

std::string timeText(Clock::time_point time)
{
    using std::chrono::microseconds;
    return utcTime(std::chrono::duration_cast<microseconds>(time.time_since_epoch()));
}

/// Two findings that differ in nothing but the milliseconds are the same one again.
std::string withoutMilliseconds(const std::string& what)
{
    const std::size_t unit = what.find(" ms");
    std::size_t begin = unit;
    while (unit != std::string::npos && begin > 0 &&
           std::isdigit(static_cast<unsigned char>(what[begin - 1])) != 0)
        --begin;
    return unit == std::string::npos ? what : what.substr(0, begin) + what.substr(unit);
}

/// A tag to show, of one station or, when that is empty, of any.
struct Wanted {
    std::string station;
    ProjectTag tag;
};

std::vector<Wanted> wantedTags(const CommonOptions& options, Project* project)
{
    std::vector<Wanted> wanted;
    if (!project->stations.empty()) {
        selectTags(project, options.tags);
        for (const ProjectTag& tag : project->tags)
            wanted.push_back({project->stations[static_cast<std::size_t>(tag.station)].name, tag});
        return wanted;
    }
    for (const std::string& text : options.tags) {
        const std::size_t slash = text.find('/');
        ProjectTag tag;
        tag.reference =
            parseTagReference(slash == std::string::npos ? text : text.substr(slash + 1));
        wanted.push_back({slash == std::string::npos ? "" : text.substr(0, slash), tag});
    }
    return wanted;
}

class ReplayReport {
public:
    ReplayReport(const CommonOptions& options, const ReplayOptions& replayOptions)
        : options_(options), format_(options.format()), withChanges_(replayOptions.changes),
          replay_(
              libraryFor(options), [this](const Replay::Event& event) { take(event); },
              [this](const ReplayedStation& station, const std::string& tag,
                     Clock::time_point time) { takeChange(station, tag, time); }),
          recording_(&replay_)
    {
        if (!replayOptions.projectFile.empty())
            project_ = loadProject(replayOptions.projectFile);
        wanted_ = wantedTags(options, &project_);
    }

    ExitCode run();

private:
    struct Repeated {
        Replay::Event first;
        int count = 0;
        Clock::time_point last;
    };

    std::string nameOf(const std::string& recorded) const;
    void take(Replay::Event event);
    void takeChange(const ReplayedStation& station, const std::string& tag, Clock::time_point time);
    std::vector<ShownTag> shownTagsOf(const ReplayedStation& station, const std::string& tag,
                                      Clock::time_point time) const;
    std::vector<ShownTag> allShownTags() const;
    void printEvent(const Replay::Event& event) const;
    void printFindings() const;
    ExitCode print(std::uint64_t packets) const;

    const CommonOptions& options_;
    const Format format_;
    const bool withChanges_;
    Project project_;
    std::vector<Wanted> wanted_;
    Replay replay_;
    Recording recording_;
    std::vector<Repeated> findings_;
    std::map<std::string, std::size_t> findingsByText_;
    std::map<std::string, std::string> lastShown_; ///< by station and tag
};

/// What the project calls a station that the recording knows by its address.
std::string ReplayReport::nameOf(const std::string& recorded) const
{
    if (project_.stations.size() == 1)
        return project_.stations[0].name;
    for (const StationSettings& station : project_.stations) {
        const bool isUsualPort = station.port == kEtherNetIpPort;
        if (recorded ==
            (isUsualPort ? station.host : station.host + ":" + std::to_string(station.port)))
            return station.name;
    }
    return recorded;
}

void ReplayReport::take(Replay::Event event)
{
    event.station = nameOf(event.station);
    if (withChanges_ || (event.isFinding && format_ == Format::Json))
        printEvent(event);
    if (!event.isFinding)
        return;
    const auto [entry, isNew] = findingsByText_.emplace(
        event.station + ' ' + withoutMilliseconds(event.what), findings_.size());
    if (isNew)
        findings_.push_back({event, 0, event.time});
    Repeated& finding = findings_[entry->second];
    ++finding.count;
    finding.last = event.time;
}

void ReplayReport::printEvent(const Replay::Event& event) const
{
    if (format_ == Format::Json) {
        nlohmann::ordered_json record;
        record["time"] = timeText(event.time);
        record["station"] = event.station;
        record[event.isFinding ? "finding" : "event"] = event.what;
        std::cout << record.dump() << '\n';
    } else if (format_ == Format::Text) {
        const Palette& colours = palette();
        std::cout << timeText(event.time) << ' ' << event.station << ": "
                  << (event.isFinding ? colours.bad : "") << event.what
                  << (event.isFinding ? colours.reset : "") << '\n';
    }
}

void ReplayReport::takeChange(const ReplayedStation& station, const std::string& tag,
                              Clock::time_point time)
{
    if (!withChanges_)
        return;
    for (const ShownTag& entry : shownTagsOf(station, tag, time)) {
        // Another reason alone is a finding, not a change.
        const std::string now =
            std::string(qualityName(entry.shown.quality)) + ' ' + valueText(entry.tag, entry.shown);
        std::string& before = lastShown_[entry.station + '/' + entry.tag.reference.text()];
        if (now == before)
            continue;
        before = now;
        if (format_ == Format::Text)
            std::cout << timeText(time) << ' ' << entry.station << ": ";
        printTags({entry}, format_, timeText(time), time);
    }
}

std::vector<ShownTag> ReplayReport::shownTagsOf(const ReplayedStation& station,
                                                const std::string& tag,
                                                Clock::time_point time) const
{
    std::vector<ShownTag> shown;
    const std::string name = nameOf(station.name());
    const auto add = [&](const ProjectTag& projectTag, Snapshot snapshot) {
        expectType(projectTag.type, &snapshot);
        const std::string text = projectTag.reference.text();
        shown.push_back({name, replay_.stations().size() > 1 ? name + '/' + text : text, projectTag,
                         std::move(snapshot)});
    };
    if (wanted_.empty()) {
        for (const ReplayedTag& entry :
             tag.empty() ? station.shown(time) : station.shownOf(tag, time)) {
            ProjectTag projectTag;
            projectTag.reference = entry.reference;
            add(projectTag, entry.shown);
        }
    }
    for (const Wanted& wanted : wanted_) {
        const TagReference& reference = wanted.tag.reference;
        const bool isOfStation =
            wanted.station == name || (wanted.station.empty() && station.knows(reference.name));
        if (isOfStation && (tag.empty() || sameTagName(tag, reference.name)))
            add(wanted.tag, station.shown(reference, time));
    }
    return shown;
}

std::vector<ShownTag> ReplayReport::allShownTags() const
{
    std::vector<ShownTag> all;
    for (const auto& station : replay_.stations()) {
        const std::vector<ShownTag> some = shownTagsOf(*station, {}, recording_.lastAt());
        all.insert(all.end(), some.begin(), some.end());
    }
    for (const Wanted& wanted : wanted_) {
        const bool isKnown = std::any_of(all.begin(), all.end(), [&wanted](const ShownTag& tag) {
            return sameTagName(tag.tag.reference.name, wanted.tag.reference.name) &&
                   (wanted.station.empty() || wanted.station == tag.station);
        });
        if (isKnown)
            continue;
        ShownTag missing;
        missing.station = wanted.station;
        missing.tag = wanted.tag;
        missing.label = wanted.tag.reference.text();
        missing.shown.reason = "nobody asked for it in this recording";
        all.push_back(missing);
    }
    return all;
}

void ReplayReport::printFindings() const
{
    const Palette& colours = palette();
    std::cout << '\n' << colours.bold;
    if (findings_.empty()) {
        std::cout << "Nothing went wrong: every request was answered, none was refused"
                  << colours.reset << '\n';
        return;
    }
    std::cout << "What went wrong" << colours.reset << '\n';
    for (const Repeated& finding : findings_) {
        printEvent(finding.first);
        if (finding.count > 1)
            std::cout << "  " << finding.count << " times, last at " << timeText(finding.last)
                      << '\n';
    }
}

ExitCode ReplayReport::print(std::uint64_t packets) const
{
    const std::vector<ShownTag> tags = allShownTags();
    if (format_ == Format::Text) {
        char seconds[32];
        std::snprintf(
            seconds, sizeof seconds, "%.1f s",
            std::chrono::duration<double>(recording_.lastAt() - recording_.firstAt()).count());
        std::cout << (withChanges_ ? "\n" : "") << options_.target << ": " << packets
                  << " packets, " << recording_.frames() << " EtherNet/IP frames over "
                  << recording_.links() << (recording_.links() == 1 ? " link, " : " links, ")
                  << seconds << " from " << timeText(recording_.firstAt()) << '\n';
        if (!withChanges_)
            printFindings();
        std::cout << '\n'
                  << palette().bold << "What was shown at the end" << palette().reset << '\n';
    } else if (format_ == Format::Csv && !withChanges_) {
        std::cout << kCsvHeader << '\n';
    }
    if (!withChanges_ || format_ != Format::Csv)
        printTags(tags, format_, timeText(recording_.lastAt()), recording_.lastAt());
    if (options_.statistics)
        for (const auto& station : replay_.stations())
            printStatistics(format_ == Format::Text ? std::cout : std::cerr,
                            nameOf(station->name()), station->statistics);

    const bool allGood = std::all_of(tags.begin(), tags.end(), [](const ShownTag& tag) {
        return tag.shown.quality == Quality::Good;
    });
    const auto& stations = replay_.stations();
    const bool anyFailed = std::any_of(stations.begin(), stations.end(), [](const auto& station) {
        return station->statistics.failures > 0;
    });
    if (tags.empty())
        return anyFailed ? kNoConnection : kAllGood;
    return allGood ? kAllGood : kSomeTagBad;
}

ExitCode ReplayReport::run()
{
    PacketFile file(options_.target);
    std::string damage;
    try {
        if (withChanges_ && format_ == Format::Csv)
            std::cout << kCsvHeader << '\n';
        TcpSegment segment;
        while (!stopRequested() && file.next(&segment))
            recording_.add(segment);
    } catch (const UsageError& error) {
        damage = error.what();
    }
    recording_.finish();
    replay_.finish(recording_.lastAt());
    if (recording_.frames() == 0)
        throw UsageError(!damage.empty() ? damage
                                         : options_.target + ": no EtherNet/IP over TCP in its " +
                                               std::to_string(file.packets()) + " packets");
    const ExitCode result = print(file.packets());
    if (!damage.empty())
        throw UsageError(damage + "; shown is what comes before");
    return result;
}

} // namespace

int runReplay(const CommonOptions& options, const ReplayOptions& replay)
{
    return ReplayReport(options, replay).run();
}

} // namespace panelhost
