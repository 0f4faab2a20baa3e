// watch on a terminal: a table that is redrawn in place. What the lines say is kept apart from how
// they get onto the terminal.

#ifndef PANELHOST_LIVE_TABLE_H
#define PANELHOST_LIVE_TABLE_H

#include "output.h"

#include <deque>
#include <optional>
#include <string>
#include <vector>

namespace panelhost {

/// What a tag did lately.
class TagHistory {
public:
    /// To be told often; takes each reading once.
    void add(const Snapshot& shown, Clock::time_point now);

    /// Over the last ten seconds, or since the first reading.
    double changesPerSecond(Clock::time_point now) const;

    /// The first element's last readings, oldest first; empty for texts.
    const std::deque<double>& recent() const { return recent_; }

private:
    Clock::time_point firstAt_;
    Clock::time_point lastAsOf_;
    std::vector<Value> last_;
    std::deque<Clock::time_point> changes_;
    std::deque<double> recent_;
};

struct LiveRow {
    ShownTag tag;
    double changesPerSecond = 0;
    std::deque<double> recent;
};

struct TerminalSize {
    int columns = 80;
    int rows = 24;
};

/// A heading and one line per row, none wider than the terminal and no more than fit it; what does
/// not fit is cut, and rows that do not fit are counted in the last line. notes stand below.
std::vector<std::string> liveTableLines(const std::vector<LiveRow>& rows,
                                        const std::vector<std::string>& notes,
                                        Clock::time_point now, TerminalSize size);

/// Readings as a row of bars between their least and their greatest.
std::string sparkline(const std::deque<double>& readings, bool utf8);

/// Whether standard output is a terminal that can be drawn on.
bool canDrawInPlace();
TerminalSize terminalSize();

/// Draws lines over the ones drawn before. Leaves the last ones standing, and the terminal as it was.
class InPlace {
public:
    InPlace();
    ~InPlace();
    InPlace(const InPlace&) = delete;
    InPlace& operator=(const InPlace&) = delete;

    void draw(const std::vector<std::string>& lines, TerminalSize size);

    /// After Ctrl-Z: gives the shell a usable terminal and sleeps until woken.
    void sleepIfAsked();

private:
    std::size_t drawn_ = 0; ///< lines above the cursor
    std::optional<int> columns_;
};

} // namespace panelhost

#endif // PANELHOST_LIVE_TABLE_H
