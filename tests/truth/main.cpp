// truth_test: no value is ever shown as good that the controller did not hold for that tag and
// element within the stated age, whatever goes wrong between the two.

#include "trial.h"

#include <QtGlobal>

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>

namespace {

/// The driver reports every handshake as a debug message.
void dropMessage(QtMsgType, const QMessageLogContext&, const QString&)
{
}

} // namespace

int main(int argc, char** argv)
{
    truth::TrialOptions options;
    options.library = MICRO850_LIBRARY;
    CLI::App app("Watches simulated controllers through random faults and compares every value "
                 "shown as good with what they really held.");
    app.add_option("--seconds", options.seconds, "Length of the faults")->capture_default_str();
    app.add_option("--calm", options.calmSeconds, "Seconds before them, to measure the pace in")
        ->capture_default_str();
    app.add_option("--seed", options.seed, "Start of everything random")->capture_default_str();
    app.add_option("--stations", options.stations)->capture_default_str();
    app.add_option("--library", options.library, "The driver")->capture_default_str();
    app.add_flag("--shared", options.sharedCycle, "One driver and one cycle for all stations");
    app.add_flag("!--ignore-pace", options.judgePace, "Measure the pace, but do not judge it");
    app.add_flag("--verbose", options.verbose, "Name every fault");
    CLI11_PARSE(app, argc, argv);
    qInstallMessageHandler(dropMessage);
    try {
        const bool right = truth::Trial(options).run();
        std::printf("truth: %s\n", right ? "passed" : "FAILED");
        return right ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "truth: %s\n", error.what());
        return 2;
    }
}
