// What the subcommands of panelhost share: exit codes, common options, stopping on Ctrl-C.

#ifndef PANELHOST_COMMAND_H
#define PANELHOST_COMMAND_H

#include "host.h"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace panelhost {

enum ExitCode {
    kAllGood = 0,
    kSomeTagBad = 1,
    kUsage = 2,
    kNoConnection = 3,
};

enum class Format { Text, Csv, Json };

/// Options of every command that talks to a controller.
struct CommonOptions {
    std::string target;
    std::vector<std::string> tags;
    std::string library;
    int timeout = 0;  ///< milliseconds; 0 keeps the project's or the default
    int retries = -1; ///< -1 keeps the project's or the default
    bool csv = false;
    bool json = false;
    bool statistics = false;
    std::string captureFile;
    std::string logFile;
    Traffic* traffic = nullptr; ///< what captureFile and logFile ask for; null for neither

    Format format() const { return json ? Format::Json : csv ? Format::Csv : Format::Text; }
};

/// The project that the options name, with its time-outs and retries overridden by them.
Project projectFor(const CommonOptions& options);

std::string libraryFor(const CommonOptions& options);

/// The driver logs its handshakes through Qt; a tool for people keeps that off the screen.
void muteDriverMessages();

/// What to do about a station that does not answer, to be put behind the reason.
std::string nextStep(StationTrouble trouble);

/// One line on standard error for each station that never answered.
void explainNoConnection(const Host& host);

/// Waits until every tag is settled or its station has turned out not to answer, or the time is over.
void waitUntilSettled(Host* host, Clock::time_point deadline);

/// How many tags are settled, or have a station that turned out not to answer.
std::size_t settledTags(const Host& host);

/// Long enough for a first read of everything, the worst case included.
Clock::time_point firstReadDeadline(const Project& project);

/// 0, 1 or 3 for what the tags show now.
ExitCode verdict(const Host& host);

/// Installs handlers for Ctrl-C and termination.
void catchSignals();
bool stopRequested();
/// Sleeps, but not past a request to stop.
void pauseUntil(Clock::time_point deadline);

struct WatchOptions {
    double interval = 1.0; ///< seconds
    double duration = 0;   ///< seconds; 0 goes on until stopped
    int count = 0;         ///< rounds; 0 goes on
};

int runRead(const CommonOptions& options);
int runWrite(const CommonOptions& options, const std::vector<std::string>& assignments);
int runWatch(const CommonOptions& options, const WatchOptions& watch);
int runCheck(const CommonOptions& options);
/// responseTime is a controller's, in milliseconds.
int runPlan(const CommonOptions& options, double responseTime);
struct ReplayOptions {
    std::string projectFile; ///< names stations, units and types; may be empty
    bool changes = false;    ///< also tell what was shown in between
};

/// options.target is a capture file.
int runReplay(const CommonOptions& options, const ReplayOptions& replay);
int runIdentify(const CommonOptions& options);
/// duration in seconds.
int runBench(const CommonOptions& options, double duration);

} // namespace panelhost

#endif // PANELHOST_COMMAND_H
