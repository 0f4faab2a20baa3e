#include "output.h"

#include "capture.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <unistd.h>

namespace panelhost {
namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;

bool wantsColour()
{
    const char* terminal = std::getenv("TERM");
    return isatty(STDOUT_FILENO) != 0 && std::getenv("NO_COLOR") == nullptr &&
           terminal != nullptr && std::string(terminal) != "dumb";
}

std::string shortNumber(double number)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.7g", number);
    return text;
}

std::string elementText(const ProjectTag& tag, const CipType& type, const Value& value)
{
    const bool isNumber = type.kind != ValueKind::Text && type.kind != ValueKind::Bool;
    if (tag.scale != 1 && isNumber)
        return shortNumber(toNumber(value) * tag.scale);
    return formatValue(type, value);
}

nlohmann::json jsonValue(const ProjectTag& tag, const CipType& type, const Value& value)
{
    const bool isNumber = type.kind != ValueKind::Text && type.kind != ValueKind::Bool;
    if (tag.scale != 1 && isNumber)
        return toNumber(value) * tag.scale;
    // JSON has no NaN; and a REAL as a double would show digits that it does not have.
    if (const auto* real = std::get_if<float>(&value)) {
        double shortest = 0;
        const std::string text = plainValue(type, value);
        std::from_chars(text.data(), text.data() + text.size(), shortest);
        return std::isfinite(*real) ? nlohmann::json(shortest) : nlohmann::json(text);
    }
    if (const auto* real = std::get_if<double>(&value))
        return std::isfinite(*real) ? nlohmann::json(*real)
                                    : nlohmann::json(plainValue(type, value));
    return std::visit([](const auto& plain) { return nlohmann::json(plain); }, value);
}

std::string jsonLine(const ShownTag& entry, const std::string& time, Clock::time_point now)
{
    const ProjectTag& tag = entry.tag;
    const Snapshot& shown = entry.shown;
    nlohmann::ordered_json record;
    record["time"] = time;
    record["station"] = entry.station;
    record["tag"] = tag.reference.text();
    record["quality"] = qualityName(shown.quality);
    if (shown.type != nullptr)
        record["type"] = shown.type->name;
    if (!shown.values.empty()) {
        nlohmann::json values = nlohmann::json::array();
        for (const Value& value : shown.values)
            values.push_back(jsonValue(tag, *shown.type, value));
        record["value"] = tag.reference.count == 1 ? values[0] : values;
        record["text"] = valueText(tag, shown);
        record["age_ms"] = duration_cast<milliseconds>(now - shown.asOf).count();
    }
    if (!tag.unit.empty())
        record["unit"] = tag.unit;
    if (!shown.reason.empty())
        record["reason"] = shown.reason;
    // Texts in a controller may hold any byte; here they are UTF-8 already.
    return record.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::string csvField(const std::string& text)
{
    if (text.find_first_of(",\"\n") == std::string::npos)
        return text;
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"')
            quoted += '"';
        quoted += c;
    }
    return quoted + '"';
}

std::string csvLine(const ShownTag& entry, const std::string& time, Clock::time_point now)
{
    const Snapshot& shown = entry.shown;
    std::string line = time + ',' + csvField(entry.station) + ',' + entry.tag.reference.text() +
                       ',' + (shown.type != nullptr ? shown.type->name : "") + ',' +
                       qualityName(shown.quality) + ',';
    if (!shown.values.empty())
        line += std::to_string(duration_cast<milliseconds>(now - shown.asOf).count());
    return line + ',' + csvField(valueText(entry.tag, shown)) + ',' + csvField(shown.reason);
}

std::string textLine(const ShownTag& entry, std::size_t width)
{
    const Palette& colours = palette();
    const Snapshot& shown = entry.shown;
    const std::string head = padded(entry.label, width) + " = ";
    switch (shown.quality) {
    case Quality::Good:
        return head + colours.bold + valueText(entry.tag, shown) + colours.reset + "  " +
               colours.dim + shown.type->name + colours.reset;
    case Quality::Stale:
        return head + valueText(entry.tag, shown) + "  " + colours.stale +
               "stale: " + shown.reason + colours.reset;
    case Quality::Bad: break;
    }
    return head + colours.bad + "bad: " + shown.reason + colours.reset;
}

std::string milli(nanoseconds duration)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", static_cast<double>(duration.count()) / 1e6);
    return text;
}

} // namespace

const Palette& palette()
{
    static const Palette kNone;
    static const Palette kColours = {"\x1b[32m", "\x1b[33m", "\x1b[31m",
                                     "\x1b[2m",  "\x1b[1m",  "\x1b[0m"};
    static const bool kWanted = wantsColour();
    return kWanted ? kColours : kNone;
}

const char* qualityName(Quality quality)
{
    switch (quality) {
    case Quality::Good: return "good";
    case Quality::Stale: return "stale";
    case Quality::Bad: break;
    }
    return "bad";
}

std::string valueText(const ProjectTag& tag, const Snapshot& shown)
{
    std::string text;
    for (const Value& value : shown.values)
        text += (text.empty() ? "" : " ") + elementText(tag, *shown.type, value);
    if (!text.empty() && !tag.unit.empty())
        text += " " + tag.unit;
    return text;
}

std::string ageText(const Snapshot& shown, Clock::time_point now)
{
    if (shown.values.empty())
        return "-";
    const auto age = duration_cast<milliseconds>(now - shown.asOf).count();
    char text[32];
    if (age < 1000)
        std::snprintf(text, sizeof text, "%d ms", static_cast<int>(age));
    else if (age < 60000)
        std::snprintf(text, sizeof text, "%.1f s", static_cast<double>(age) / 1000);
    else
        std::snprintf(text, sizeof text, "%d min", static_cast<int>(age / 60000));
    return text;
}

std::size_t columns(const std::string& text)
{
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    }));
}

std::string padded(const std::string& text, std::size_t width)
{
    const std::size_t used = columns(text);
    return used < width ? text + std::string(width - used, ' ') : text;
}

std::vector<ShownTag> shownTags(const Host& host)
{
    std::vector<ShownTag> tags;
    const Project& project = host.project();
    for (std::size_t i = 0; i < host.tagCount(); ++i) {
        const ProjectTag& tag = project.tags[i];
        tags.push_back({project.stations[static_cast<std::size_t>(tag.station)].name,
                        project.label(tag), tag, host.snapshot(i)});
    }
    return tags;
}

void printTags(const std::vector<ShownTag>& tags, Format format, const std::string& timeText,
               Clock::time_point now)
{
    std::size_t width = 0;
    for (const ShownTag& tag : tags)
        width = std::max(width, columns(tag.label));
    for (const ShownTag& tag : tags) {
        switch (format) {
        case Format::Text: std::cout << textLine(tag, width) << '\n'; break;
        case Format::Csv: std::cout << csvLine(tag, timeText, now) << '\n'; break;
        case Format::Json: std::cout << jsonLine(tag, timeText, now) << '\n'; break;
        }
    }
    std::cout.flush();
}

void printSnapshots(const Host& host, Format format, bool withHeader)
{
    if (format == Format::Csv && withHeader)
        std::cout << kCsvHeader << '\n';
    printTags(shownTags(host), format, utcTime(), Clock::now());
}

void printStatistics(std::ostream& out, const std::string& station, const Statistics& statistics)
{
    const Statistics& s = statistics;
    out << "Station " << station << ": " << s.requests << " requests, " << s.replies << " replies, "
        << s.failures << " failures (" << s.timeouts << " time-outs), " << s.refusals
        << " refusals, " << s.scans << " scans\n"
        << "  round trip min " << milli(s.roundTrips.min()) << " ms, median "
        << milli(s.roundTrips.median()) << " ms, max " << milli(s.roundTrips.max()) << " ms\n";
}

void printStatistics(const Host& host, Format format)
{
    std::ostream& out = format == Format::Text ? std::cout : std::cerr;
    for (std::size_t i = 0; i < host.project().stations.size(); ++i)
        printStatistics(out, host.project().stations[i].name, host.statistics(i));
    out.flush();
}

} // namespace panelhost
