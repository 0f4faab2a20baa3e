#include "project.h"

#include <toml++/toml.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fstream>

namespace panelhost {
namespace {

/// Reads one table of a project file; every complaint names file and line.
class TableReader {
public:
    TableReader(const std::string& file, const toml::table& table) : file_(file), table_(table) {}

    [[noreturn]] void refuse(const toml::node* node, const std::string& what) const
    {
        const auto& source = node != nullptr ? node->source() : table_.source();
        throw UsageError(file_ + ":" + std::to_string(source.begin.line) + ": " + what);
    }

    void allowOnly(std::initializer_list<std::string_view> keys, const std::string& where) const
    {
        for (const auto& [key, node] : table_)
            if (std::find(keys.begin(), keys.end(), key.str()) == keys.end())
                refuse(&node, "'" + std::string(key.str()) + "' is not known in " + where);
    }

    std::string text(std::string_view key, const std::string& otherwise) const
    {
        const toml::node* node = table_.get(key);
        if (node == nullptr)
            return otherwise;
        const auto value = node->value_exact<std::string>();
        if (!value)
            refuse(node, "'" + std::string(key) + "' must be a text in quotes");
        return *value;
    }

    int number(std::string_view key, int otherwise, int lowest, int highest) const
    {
        const toml::node* node = table_.get(key);
        if (node == nullptr)
            return otherwise;
        const auto value = node->value_exact<std::int64_t>();
        if (!value || *value < lowest || *value > highest)
            refuse(node, "'" + std::string(key) + "' must be a whole number from " +
                             std::to_string(lowest) + " to " + std::to_string(highest));
        return static_cast<int>(*value);
    }

    double real(std::string_view key, double otherwise) const
    {
        const toml::node* node = table_.get(key);
        if (node == nullptr)
            return otherwise;
        const auto value = node->value<double>();
        if (!value || !std::isfinite(*value))
            refuse(node, "'" + std::string(key) + "' must be a number");
        return *value;
    }

    bool flag(std::string_view key, bool otherwise) const
    {
        const toml::node* node = table_.get(key);
        if (node == nullptr)
            return otherwise;
        const auto value = node->value_exact<bool>();
        if (!value)
            refuse(node, "'" + std::string(key) + "' must be true or false");
        return *value;
    }

    const toml::node* node(std::string_view key) const { return table_.get(key); }

private:
    const std::string& file_;
    const toml::table& table_;
};

constexpr int kDay = 24 * 60 * 60 * 1000;

StationSettings readStation(const TableReader& reader)
{
    reader.allowOnly({"name", "host", "port", "timeout_ms", "retries"}, "[[station]]");
    StationSettings station;
    station.host = reader.text("host", "");
    if (station.host.empty())
        reader.refuse(nullptr, "[[station]] needs 'host', the controller's address");
    station.name = reader.text("name", station.host);
    station.port = static_cast<std::uint16_t>(reader.number("port", kEtherNetIpPort, 1, 65535));
    station.timeout = std::chrono::milliseconds(
        reader.number("timeout_ms", static_cast<int>(station.timeout.count()), 10, 60000));
    station.retries = reader.number("retries", station.retries, 0, Driver::kMaxResends);
    return station;
}

ProjectTag readTag(const TableReader& reader, const Project& project)
{
    reader.allowOnly({"name", "station", "type", "scale", "unit"}, "[[tag]]");
    ProjectTag tag;
    const std::string name = reader.text("name", "");
    if (name.empty())
        reader.refuse(nullptr, "[[tag]] needs 'name'");
    try {
        tag.reference = parseTagReference(name);
    } catch (const UsageError& error) {
        reader.refuse(reader.node("name"), error.what());
    }
    const std::string station = reader.text("station", "");
    if (station.empty() && project.stations.size() > 1)
        reader.refuse(nullptr, "tag '" + name + "' needs 'station', as there are several");
    if (!station.empty()) {
        const auto found = std::find_if(
            project.stations.begin(), project.stations.end(),
            [&station](const StationSettings& settings) { return settings.name == station; });
        if (found == project.stations.end())
            reader.refuse(reader.node("station"), "there is no station '" + station + "'");
        tag.station = static_cast<int>(found - project.stations.begin());
    }
    const std::string type = reader.text("type", "");
    tag.type = findCipType(type);
    if (!type.empty() && tag.type == nullptr)
        reader.refuse(reader.node("type"), "'" + type + "' is no data type");
    tag.scale = reader.real("scale", 1);
    tag.unit = reader.text("unit", "");
    return tag;
}

/// Calls use with a reader for each table of an array of tables.
template <typename Use>
void forEachTable(const std::string& file, const toml::table& root, std::string_view key,
                  const Use& use)
{
    const toml::node* node = root.get(key);
    if (node == nullptr)
        return;
    const toml::array* tables = node->as_array();
    const TableReader reader(file, root);
    if (tables == nullptr)
        reader.refuse(node, "write [[" + std::string(key) + "]], with two brackets");
    for (const toml::node& entry : *tables) {
        const toml::table* table = entry.as_table();
        if (table == nullptr)
            reader.refuse(&entry, "write [[" + std::string(key) + "]], with two brackets");
        use(TableReader(file, *table));
    }
}

void refuseDoubleStations(const std::string& file, const Project& project)
{
    for (std::size_t i = 0; i < project.stations.size(); ++i)
        for (std::size_t j = 0; j < i; ++j)
            if (project.stations[i].name == project.stations[j].name)
                throw UsageError(file + ": two stations are called '" + project.stations[i].name +
                                 "'; give them names");
}

} // namespace

std::string Project::label(const ProjectTag& tag) const
{
    const std::string text = tag.reference.text();
    return stations.size() > 1 ? stations[static_cast<std::size_t>(tag.station)].name + "/" + text
                               : text;
}

StationSettings parseTarget(const std::string& text)
{
    StationSettings station;
    const std::size_t colon = text.rfind(':');
    station.host = text.substr(0, colon);
    if (colon != std::string::npos) {
        unsigned int port = 0;
        const char* end = text.data() + text.size();
        const auto [stopped, error] = std::from_chars(text.data() + colon + 1, end, port);
        if (error != std::errc() || stopped != end || port == 0 || port > 65535)
            throw UsageError("'" + text + "': the port must be a number from 1 to 65535");
        station.port = static_cast<std::uint16_t>(port);
    }
    const auto plain = [](unsigned char c) {
        return std::isalnum(c) != 0 || c == '.' || c == '-' || c == '_';
    };
    if (station.host.empty() || !std::all_of(station.host.begin(), station.host.end(), plain))
        throw UsageError("'" + text + "': a target is HOST, HOST:PORT or a project file (.toml)");
    station.name = text;
    return station;
}

bool isProjectFile(const std::string& target)
{
    constexpr std::string_view kSuffix = ".toml";
    return target.find('/') != std::string::npos ||
           (target.size() > kSuffix.size() &&
            target.compare(target.size() - kSuffix.size(), kSuffix.size(), kSuffix) == 0);
}

Project loadProject(const std::string& file)
{
    std::ifstream stream(file);
    if (!stream)
        throw UsageError(file + ": cannot be read");
    toml::table root;
    try {
        root = toml::parse(stream, file);
    } catch (const toml::parse_error& error) {
        throw UsageError(file + ":" + std::to_string(error.source().begin.line) + ": " +
                         std::string(error.description()));
    }

    Project project;
    const TableReader reader(file, root);
    if (reader.node("controller") != nullptr)
        reader.refuse(reader.node("controller"),
                      "this is a tag file of plcsim; a project file names its [[station]]s");
    reader.allowOnly({"station", "tag", "scan_interval_ms", "stale_after_ms", "shared_cycle"},
                     "a project file");
    project.cycle.scanInterval =
        std::chrono::milliseconds(reader.number("scan_interval_ms", 0, 0, kDay));
    project.cycle.staleAfter =
        std::chrono::milliseconds(reader.number("stale_after_ms", 10000, 100, kDay));
    project.sharedCycle = reader.flag("shared_cycle", false);
    forEachTable(file, root, "station", [&project](const TableReader& table) {
        project.stations.push_back(readStation(table));
    });
    if (project.stations.empty())
        throw UsageError(file + ": there is no [[station]]");
    refuseDoubleStations(file, project);
    forEachTable(file, root, "tag", [&project](const TableReader& table) {
        project.tags.push_back(readTag(table, project));
    });
    return project;
}

Project projectOf(const std::string& target)
{
    if (isProjectFile(target))
        return loadProject(target);
    Project project;
    project.stations.push_back(parseTarget(target));
    return project;
}

void selectTags(Project* project, const std::vector<std::string>& tags)
{
    if (tags.empty())
        return;
    std::vector<ProjectTag> selected;
    for (const std::string& text : tags) {
        const std::size_t slash = text.find('/');
        const std::string station = slash == std::string::npos ? "" : text.substr(0, slash);
        const std::string name = slash == std::string::npos ? text : text.substr(slash + 1);
        ProjectTag tag;
        tag.reference = parseTagReference(name);
        bool found = false;
        for (const ProjectTag& known : project->tags) {
            const StationSettings& owner =
                project->stations[static_cast<std::size_t>(known.station)];
            if ((station.empty() || station == owner.name) &&
                known.reference.text() == tag.reference.text()) {
                selected.push_back(known);
                found = true;
            }
        }
        if (found)
            continue;
        for (std::size_t i = 0; i < project->stations.size(); ++i) {
            if (station == project->stations[i].name ||
                (station.empty() && project->stations.size() == 1)) {
                tag.station = static_cast<int>(i);
                selected.push_back(tag);
                found = true;
            }
        }
        if (!found)
            throw UsageError("'" + text +
                             "': write it as STATION/TAG, with a station of the project");
    }
    project->tags = std::move(selected);
}

} // namespace panelhost
