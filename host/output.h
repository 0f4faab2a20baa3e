// How values, qualities and statistics are shown: to people, as CSV, as JSON.

#ifndef PANELHOST_OUTPUT_H
#define PANELHOST_OUTPUT_H

#include "command.h"
#include "host.h"

#include <iosfwd>
#include <string>
#include <vector>

namespace panelhost {

/// Colours, when standard output is a terminal that wants them; else empty texts.
struct Palette {
    const char* good = "";
    const char* stale = "";
    const char* bad = "";
    const char* dim = "";
    const char* bold = "";
    const char* reset = "";
};
const Palette& palette();

const char* qualityName(Quality quality);

/// "1.5 2.5 3.5", scaled and with its unit when the project says so.
std::string valueText(const ProjectTag& tag, const Snapshot& shown);

/// "5 ms", "1.2 s", "3 min": the age of what is shown.
std::string ageText(const Snapshot& shown, Clock::time_point now);

/// Width in columns of a UTF-8 text.
std::size_t columns(const std::string& text);
std::string padded(const std::string& text, std::size_t width);

/// A tag with what is shown of it.
struct ShownTag {
    std::string station;
    std::string label; ///< for people: the tag, with its station where there are several
    ProjectTag tag;
    Snapshot shown;
};

std::vector<ShownTag> shownTags(const Host& host);

constexpr const char* kCsvHeader = "time,station,tag,type,quality,age_ms,value,reason";

/// One line or record for each tag. timeText and now say when they were shown.
void printTags(const std::vector<ShownTag>& tags, Format format, const std::string& timeText,
               Clock::time_point now);

/// The tags of a host as they are shown now. CSV has a header line when withHeader.
void printSnapshots(const Host& host, Format format, bool withHeader);

/// Requests, replies, failures and round trips, two lines.
void printStatistics(std::ostream& out, const std::string& station, const Statistics& statistics);

/// The same for each station of a host, on standard error when the values went out for machines.
void printStatistics(const Host& host, Format format);

} // namespace panelhost

#endif // PANELHOST_OUTPUT_H
