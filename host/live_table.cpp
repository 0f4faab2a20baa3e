#include "live_table.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <limits>
#include <sys/ioctl.h>
#include <unistd.h>

namespace panelhost {
namespace {

constexpr std::chrono::seconds kRateWindow(10);
constexpr std::size_t kTrendLength = 16;

constexpr char kHideCursorAndCutLines[] = "\x1b[?25l\x1b[?7l";
constexpr char kShowCursorAndWrapLines[] = "\x1b[?7h\x1b[?25h";

bool isUtf8Locale()
{
    for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const char* value = std::getenv(name);
        if (value == nullptr || *value == '\0')
            continue;
        const std::string locale = value;
        return locale.find("UTF-8") != std::string::npos ||
               locale.find("utf8") != std::string::npos;
    }
    return false;
}

/// The first columns of a text without escape sequences.
std::string cut(const std::string& text, std::size_t width)
{
    if (columns(text) <= width)
        return text;
    const std::string mark = isUtf8Locale() ? "…" : "~";
    std::string kept;
    std::size_t used = 0;
    for (std::size_t at = 0; at < text.size() && used + 1 < width;) {
        std::size_t next = at + 1;
        while (next < text.size() && (static_cast<unsigned char>(text[next]) & 0xC0) == 0x80)
            ++next;
        kept.append(text, at, next - at);
        at = next;
        ++used;
    }
    return width > 0 ? kept + mark : std::string();
}

struct Widths {
    std::size_t tag = 3;
    std::size_t value = 5;
};

constexpr std::size_t kQualityWidth = 7;
constexpr std::size_t kAgeWidth = 6;
constexpr std::size_t kRateWidth = 9;
constexpr std::size_t kGap = 2;
constexpr std::size_t kFixed = kQualityWidth + kAgeWidth + kRateWidth + 5 * kGap;

Widths widthsFor(const std::vector<LiveRow>& rows, std::size_t all)
{
    Widths widths;
    for (const LiveRow& row : rows) {
        widths.tag = std::max(widths.tag, columns(row.tag.label));
        widths.value = std::max(widths.value, columns(valueText(row.tag.tag, row.tag.shown)));
    }
    // On a narrow terminal trend, rate and age go before tag, value and quality do.
    constexpr std::size_t kReadable = 32;
    constexpr std::size_t kQualityWithGaps = kQualityWidth + 2 * kGap;
    const std::size_t besideTrend = all > kFixed + kTrendLength ? all - kFixed - kTrendLength : 0;
    const std::size_t besideQuality = all > kQualityWithGaps ? all - kQualityWithGaps : all;
    const std::size_t forBoth = std::max(besideTrend, std::min(kReadable, besideQuality));
    if (widths.tag + widths.value > forBoth) {
        // The wider of the two gives way first.
        const std::size_t half = forBoth / 2;
        if (widths.tag <= half)
            widths.value = forBoth - widths.tag;
        else if (widths.value <= half)
            widths.tag = forBoth - widths.value;
        else
            widths.tag = widths.value = half;
    }
    return widths;
}

/// Builds a line that stops at the terminal's edge, colours aside.
class Line {
public:
    explicit Line(std::size_t width) : left_(width) {}

    void add(const std::string& text, std::size_t width, const char* colour = "")
    {
        width = std::min(width, left_);
        const std::string shown = cut(text, width);
        const bool coloured = *colour != '\0' && !shown.empty();
        line_ += (coloured ? colour : "") + shown + (coloured ? palette().reset : "");
        line_.append(width - std::min(width, columns(shown)), ' ');
        left_ -= width;
    }
    void gap() { add("", kGap); }
    std::size_t left() const { return left_; }
    const std::string& text() const { return line_; }

private:
    std::size_t left_;
    std::string line_;
};

std::string headingLine(const Widths& widths, std::size_t all)
{
    const char* bold = palette().bold;
    Line line(all);
    line.add("Tag", widths.tag, bold);
    line.gap();
    line.add("Value", widths.value, bold);
    line.gap();
    line.add("Quality", kQualityWidth, bold);
    line.gap();
    line.add("Age", kAgeWidth, bold);
    line.gap();
    line.add("Changes/s", kRateWidth, bold);
    line.gap();
    line.add("Trend", line.left(), bold);
    return line.text();
}

std::string rowLine(const LiveRow& row, const Widths& widths, Clock::time_point now,
                    std::size_t all)
{
    const Palette& colours = palette();
    const Snapshot& shown = row.tag.shown;
    Line line(all);
    line.add(row.tag.label, widths.tag);
    line.gap();
    if (shown.quality == Quality::Bad) {
        line.add("bad: " + shown.reason, line.left(), colours.bad);
        return line.text();
    }
    const bool isGood = shown.quality == Quality::Good;
    line.add(valueText(row.tag.tag, shown), widths.value, isGood ? colours.bold : colours.stale);
    line.gap();
    line.add(qualityName(shown.quality), kQualityWidth, isGood ? colours.good : colours.stale);
    line.gap();
    line.add(ageText(shown, now), kAgeWidth);
    line.gap();
    if (!isGood) {
        line.add(shown.reason, line.left(), colours.stale);
        return line.text();
    }
    char rate[24];
    std::snprintf(rate, sizeof rate, "%.1f", row.changesPerSecond);
    line.add(rate, kRateWidth);
    line.gap();
    line.add(sparkline(row.recent, isUtf8Locale()), line.left(), colours.dim);
    return line.text();
}

volatile std::sig_atomic_t sleepAsked = 0;

void onSuspend(int)
{
    sleepAsked = 1;
}

} // namespace

void TagHistory::add(const Snapshot& shown, Clock::time_point now)
{
    if (shown.quality != Quality::Good || shown.asOf == lastAsOf_)
        return;
    if (last_.empty())
        firstAt_ = now;
    else if (shown.values != last_)
        changes_.push_back(now);
    lastAsOf_ = shown.asOf;
    last_ = shown.values;
    while (!changes_.empty() && now - changes_.front() > kRateWindow)
        changes_.pop_front();
    if (shown.type->kind == ValueKind::Text)
        return;
    recent_.push_back(toNumber(shown.values.front()));
    if (recent_.size() > kTrendLength)
        recent_.pop_front();
}

double TagHistory::changesPerSecond(Clock::time_point now) const
{
    if (last_.empty() || now <= firstAt_)
        return 0;
    const auto counted = std::count_if(changes_.begin(), changes_.end(),
                                       [now](const auto& at) { return now - at <= kRateWindow; });
    const std::chrono::duration<double> window =
        std::min<Clock::duration>(now - firstAt_, kRateWindow);
    return static_cast<double>(counted) / window.count();
}

std::string sparkline(const std::deque<double>& readings, bool utf8)
{
    static const char* const kBars[] = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
    static const char* const kPlain[] = {"_", ".", ",", "-", "=", "+", "*", "#"};
    constexpr int kLevels = 8;
    double least = std::numeric_limits<double>::infinity();
    double greatest = -least;
    for (const double reading : readings) {
        if (!std::isfinite(reading))
            continue;
        least = std::min(least, reading);
        greatest = std::max(greatest, reading);
    }
    std::string line;
    for (const double reading : readings) {
        if (!std::isfinite(reading)) {
            line += "?";
            continue;
        }
        // Halves first: the range of a type as a whole would overflow.
        const double share =
            greatest > least ? (reading / 2 - least / 2) / (greatest / 2 - least / 2) : 0;
        const int level = std::min(static_cast<int>(share * kLevels), kLevels - 1);
        line += (utf8 ? kBars : kPlain)[level];
    }
    return line;
}

std::vector<std::string> liveTableLines(const std::vector<LiveRow>& rows,
                                        const std::vector<std::string>& notes,
                                        Clock::time_point now, TerminalSize size)
{
    // The last column and the last row stay free, so that no terminal wraps or scrolls.
    const auto all = static_cast<std::size_t>(std::max(size.columns - 1, 1));
    const auto height = static_cast<std::size_t>(std::max(size.rows - 1, 2));
    const Widths widths = widthsFor(rows, all);
    std::vector<std::string> lines = {headingLine(widths, all)};
    const std::size_t room = height > 1 + notes.size() ? height - 1 - notes.size() : 1;
    const bool allFit = rows.size() <= room;
    const std::size_t shown = allFit ? rows.size() : room - 1;
    for (std::size_t i = 0; i < shown; ++i)
        lines.push_back(rowLine(rows[i], widths, now, all));
    if (!allFit)
        lines.push_back(cut("and " + std::to_string(rows.size() - shown) +
                                " more: make the window larger, or name the tags wanted",
                            all));
    for (const std::string& note : notes)
        if (lines.size() < height)
            lines.push_back(palette().stale + cut(note, all) + palette().reset);
    return lines;
}

bool canDrawInPlace()
{
    const char* terminal = std::getenv("TERM");
    return isatty(STDOUT_FILENO) != 0 && terminal != nullptr && std::string(terminal) != "dumb";
}

TerminalSize terminalSize()
{
    winsize window{};
    TerminalSize size;
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &window) == 0 && window.ws_col > 0 && window.ws_row > 0)
        size = {window.ws_col, window.ws_row};
    return size;
}

InPlace::InPlace()
{
    struct sigaction action {};
    action.sa_handler = onSuspend;
    sigaction(SIGTSTP, &action, nullptr);
}

InPlace::~InPlace()
{
    // Ctrl-C has left its echo on the line.
    std::cout << "\r\x1b[K" << kShowCursorAndWrapLines << std::flush;
    std::signal(SIGTSTP, SIG_DFL);
}

void InPlace::sleepIfAsked()
{
    if (sleepAsked == 0)
        return;
    sleepAsked = 0;
    std::cout << "\r\x1b[K" << kShowCursorAndWrapLines << std::flush;
    raise(SIGSTOP);
    drawn_ = 0; // the shell has written below since
}

void InPlace::draw(const std::vector<std::string>& lines, TerminalSize size)
{
    std::string bytes = kHideCursorAndCutLines;
    if (columns_ && *columns_ != size.columns) {
        // The terminal has broken the old lines anew: nobody knows how many they are now.
        bytes += "\x1b[2J\x1b[H";
    } else if (drawn_ > 0) {
        bytes += "\x1b[" + std::to_string(drawn_) + "A";
    }
    for (const std::string& line : lines)
        bytes += "\r" + line + "\x1b[K\n";
    bytes += "\r\x1b[J";
    drawn_ = lines.size();
    columns_ = size.columns;
    std::cout << bytes << std::flush;
}

} // namespace panelhost
