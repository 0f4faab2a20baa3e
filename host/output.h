// How values, qualities and statistics are shown: to people, as CSV, as JSON.

#ifndef PANELHOST_OUTPUT_H
#define PANELHOST_OUTPUT_H

#include "command.h"
#include "host.h"

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

/// One line or record for each tag. CSV has a header line when withHeader.
void printSnapshots(const Host& host, Format format, bool withHeader);

/// Requests, replies, failures and round trips, two lines for each station. On standard error when
/// the values went out for machines.
void printStatistics(const Host& host, Format format);

} // namespace panelhost

#endif // PANELHOST_OUTPUT_H
