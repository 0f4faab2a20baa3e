// panelhost plan: what one scan of a project will cost, without a network.

#include "command.h"
#include "output.h"

#include <nlohmann/json.hpp>

#include <algorithm>
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

struct PlannedRead {
    std::size_t station;
    std::string text;
    const CipType* type;
    int requestBytes;
    int replyBytes;
};

struct ScanPlan {
    std::vector<PlannedRead> reads;
    std::vector<int> requests;       ///< by station, per scan
    std::vector<int> oncePerSession; ///< by station
    long bytesOut = 0;
    long bytesIn = 0;
    int longest = 0; ///< requests one after the other
};

ScanPlan planScan(const Project& project)
{
    ScanPlan scan;
    scan.requests.resize(project.stations.size());
    scan.oncePerSession.resize(project.stations.size());
    for (const auto& [key, plan] : plansOf(project)) {
        const auto station = static_cast<std::size_t>(key.first);
        const std::vector<ElementRange> reads = planReads(*plan.type, plan.wanted);
        for (const ElementRange& range : reads) {
            const TagReference shown{plan.label, range.first, range.count,
                                     range.first != 0 || range.count != 1};
            scan.reads.push_back({station, shown.text(), plan.type,
                                  requestBytes(key.second, range.first),
                                  replyBytes(*plan.type, range.count)});
            scan.bytesOut += scan.reads.back().requestBytes;
            scan.bytesIn += scan.reads.back().replyBytes;
            ++scan.requests[station];
        }
        const bool isItsOwnProbe = reads.size() == 1 && reads[0].first == 0 && reads[0].count == 1;
        scan.oncePerSession[station] += isItsOwnProbe ? 1 : 2;
    }
    for (const int requests : scan.requests)
        scan.longest =
            project.sharedCycle ? scan.longest + requests : std::max(scan.longest, requests);
    return scan;
}

void printJson(const Project& project, const ScanPlan& scan, double responseTime)
{
    for (const PlannedRead& read : scan.reads) {
        nlohmann::ordered_json record;
        record["station"] = project.stations[read.station].name;
        record["read"] = read.text;
        record["type"] = read.type->name;
        record["request_bytes"] = read.requestBytes;
        record["reply_bytes"] = read.replyBytes;
        std::cout << record.dump() << '\n';
    }
    nlohmann::ordered_json record;
    record["requests_per_scan"] = scan.reads.size();
    record["bytes_out"] = scan.bytesOut;
    record["bytes_in"] = scan.bytesIn;
    record["scan_ms"] = scan.longest * responseTime;
    std::cout << record.dump() << '\n';
}

void printText(const Project& project, const ScanPlan& scan, double responseTime)
{
    std::size_t width = 4;
    for (const PlannedRead& read : scan.reads)
        width = std::max(width, read.text.size());
    const int column = static_cast<int>(width);
    std::printf("%-*s  %-13s  %13s  %11s\n", column, "Read", "Type", "Request bytes",
                "Reply bytes");
    for (const PlannedRead& read : scan.reads)
        std::printf("%-*s  %-13s  %13d  %11d\n", column, read.text.c_str(), read.type->name,
                    read.requestBytes, read.replyBytes);
    std::printf("\nOne scan: %zu requests, %ld bytes out, %ld bytes in (texts at their longest)\n",
                scan.reads.size(), scan.bytesOut, scan.bytesIn);
    const bool inParallel = project.stations.size() > 1 && !project.sharedCycle;
    std::printf("At %g ms response time: %.0f ms%s\n", responseTime, scan.longest * responseTime,
                inParallel ? ", all stations in parallel" : "");
    for (std::size_t i = 0; i < scan.requests.size(); ++i)
        std::printf("Station %s: %d requests per scan, %d more once per session\n",
                    project.stations[i].name.c_str(), scan.requests[i], scan.oncePerSession[i]);
}

} // namespace

int runPlan(const CommonOptions& options, double responseTime)
{
    const Project project = projectFor(options);
    const ScanPlan scan = planScan(project);
    if (options.format() == Format::Json)
        printJson(project, scan, responseTime);
    else
        printText(project, scan, responseTime);
    return kAllGood;
}

} // namespace panelhost
