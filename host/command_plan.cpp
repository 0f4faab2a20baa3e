// panelhost plan: what one scan of a project will cost, without a network.

#include "command.h"
#include "output.h"

#include <cstdio>
#include <iostream>
#include <map>

namespace panelhost {
namespace {

struct TagPlan {
    const CipType* type = nullptr;
    std::string label;
    std::vector<ElementRange> wanted;
};

/// Bytes of a Read Tag request frame: header, items, sequence count and count around the path.
int requestBytes(const std::string& name, int firstElement)
{
    constexpr int kAroundThePath = 54;
    const int nameLength = static_cast<int>(name.size());
    int path = 2 + nameLength + nameLength % 2;
    if (firstElement > 255)
        path += 4;
    else if (firstElement > 0)
        path += 2;
    return kAroundThePath + path;
}

int replyBytes(const CipType& type, int elements)
{
    constexpr int kBeforeValues = 52;
    constexpr int kLongestText = 1 + kMaxTextLength;
    return kBeforeValues + (type.width > 0 ? elements * type.width : kLongestText);
}

using PlansByTag = std::map<std::pair<int, std::string>, TagPlan>;

PlansByTag plansOf(const Project& project)
{
    PlansByTag plans;
    for (const ProjectTag& tag : project.tags) {
        if (tag.type == nullptr)
            throw UsageError(project.label(tag) +
                             ": a plan needs the tag's type; name it in the project file");
        TagPlan& plan = plans[{tag.station, tag.reference.name}];
        plan.type = tag.type;
        plan.label = tag.reference.name;
        if (project.stations.size() > 1)
            plan.label =
                project.stations[static_cast<std::size_t>(tag.station)].name + "/" + plan.label;
        plan.wanted.push_back({tag.reference.first, tag.reference.count});
    }
    return plans;
}

} // namespace

int runPlan(const CommonOptions& options, double responseTime)
{
    const Project project = projectFor(options);
    const PlansByTag plans = plansOf(project);
    std::vector<int> requests(project.stations.size());
    std::vector<int> probes(project.stations.size());
    long sent = 0;
    long received = 0;
    std::printf("%-32s %-14s %14s %14s\n", "Read", "Type", "request bytes", "reply bytes");
    for (const auto& [key, plan] : plans) {
        const auto station = static_cast<std::size_t>(key.first);
        const std::vector<ElementRange> reads = planReads(*plan.type, plan.wanted);
        for (const ElementRange& range : reads) {
            TagReference shown{plan.label, range.first, range.count,
                               range.first != 0 || range.count != 1};
            const int request = requestBytes(key.second, range.first);
            const int reply = replyBytes(*plan.type, range.count);
            std::printf("%-32s %-14s %14d %14d\n", shown.text().c_str(), plan.type->name, request,
                        reply);
            sent += request;
            received += reply;
            ++requests[station];
        }
        const bool isItsOwnProbe = reads.size() == 1 && reads[0].first == 0 && reads[0].count == 1;
        probes[station] += isItsOwnProbe ? 1 : 2;
    }

    int all = 0;
    int longest = 0;
    for (std::size_t i = 0; i < requests.size(); ++i) {
        all += requests[i];
        longest = project.sharedCycle ? all : std::max(longest, requests[i]);
    }
    std::printf("\nOne scan: %d requests, %ld bytes out, %ld bytes in (texts at their longest)\n",
                all, sent, received);
    std::printf("At %g ms response time: %.0f ms%s\n", responseTime, longest * responseTime,
                project.stations.size() > 1 && !project.sharedCycle ? ", all stations in parallel"
                                                                    : "");
    for (std::size_t i = 0; i < requests.size(); ++i)
        std::printf("Station %s: %d requests per scan, %d more once per session\n",
                    project.stations[i].name.c_str(), requests[i], probes[i]);
    return kAllGood;
}

} // namespace panelhost
