// panelhost: reads, writes and watches tags of Micro850 controllers through the driver library.

#include "capture.h"
#include "command.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <functional>
#include <iostream>

namespace {

using namespace panelhost;

void addTrafficOptions(CLI::App* command, CommonOptions* options)
{
    command->add_option("--capture", options->captureFile, "Write all frames for Wireshark")
        ->option_text("FILE");
    command->add_option("--log", options->logFile, "Write what happened, in words")
        ->option_text("FILE");
}

void addCommonOptions(CLI::App* command, CommonOptions* options)
{
    command->add_option("target", options->target, "HOST[:PORT] or a project file (.toml)")
        ->required()
        ->option_text(" ");
    command->add_option("--timeout", options->timeout, "Time-out of a request (default 2000)")
        ->check(CLI::Range(10, 60000))
        ->option_text("MS");
    command->add_option("--retries", options->retries, "Resends when unanswered, 0..3 (default 1)")
        ->check(CLI::Range(0, Driver::kMaxResends))
        ->option_text("N");
    command->add_option("--library", options->library, "Driver library to load")
        ->option_text("FILE");
    command->add_flag("--statistics", options->statistics, "Print traffic figures at the end");
    addTrafficOptions(command, options);
}

void addFormatOptions(CLI::App* command, CommonOptions* options)
{
    CLI::Option* csv =
        command->add_flag("--csv", options->csv, "One CSV line per tag")->option_text(" ");
    command->add_flag("--json", options->json, "One JSON record per tag")
        ->option_text(" ")
        ->excludes(csv);
}

void addTags(CLI::App* command, CommonOptions* options)
{
    command->add_option("tags", options->tags, "Name, Name[3] or Name[3..7]")->option_text(" ");
}

/// Every command prints help that ends in an example.
CLI::App* addCommand(CLI::App* program, const char* name, const char* what, const char* example)
{
    CLI::App* command = program->add_subcommand(name, what);
    command->footer(std::string("Example:\n  ") + example);
    return command;
}

/// What --capture and --log ask for.
std::unique_ptr<TrafficFan> trafficFor(const CommonOptions& options)
{
    auto fan = std::make_unique<TrafficFan>();
    try {
        if (!options.captureFile.empty())
            fan->add(std::make_unique<Capture>(options.captureFile));
        if (!options.logFile.empty())
            fan->add(std::make_unique<Log>(options.logFile));
    } catch (const std::runtime_error& error) {
        throw UsageError(error.what());
    }
    return fan;
}

int runProgram(int argc, char** argv)
{
    CLI::App program("Reads, writes and watches tags of Micro850 controllers.", "panelhost");
    program.set_version_flag("--version", std::string("panelhost " PANELHOST_VERSION));
    program.require_subcommand(1);
    program.footer("Each command has a --help of its own.\n"
                   "Exit codes: 0 all good, 1 some tag bad, 2 usage, 3 no connection\n\n"
                   "Example:\n  panelhost read 192.168.1.10 Counter Speeds[0..3]");

    CommonOptions options;
    std::function<int()> run;

    CLI::App* read = addCommand(&program, "read", "Read tags once",
                                "panelhost read 192.168.1.10 Counter Speeds[0..3]");
    addCommonOptions(read, &options);
    addTags(read, &options);
    addFormatOptions(read, &options);
    read->callback([&] { run = [&] { return runRead(options); }; });

    std::vector<std::string> assignments;
    CLI::App* write = addCommand(&program, "write", "Write tags, read them back and compare",
                                 "panelhost write 192.168.1.10 Setpoint=12.5 Recipe[0..2]=7,8,9");
    addCommonOptions(write, &options);
    write->add_option("assignments", assignments, "TAG=VALUE, or TAG[3..5]=V,V,V")
        ->required()
        ->option_text(" ");
    write->callback([&] { run = [&] { return runWrite(options, assignments); }; });

    WatchOptions watchOptions;
    CLI::App* watch = addCommand(&program, "watch", "Read tags again and again",
                                 "panelhost watch 192.168.1.10 Counter --interval 0.5 --for 60");
    addCommonOptions(watch, &options);
    addTags(watch, &options);
    addFormatOptions(watch, &options);
    watch->add_option("--interval", watchOptions.interval, "Seconds from scan to scan (default 1)")
        ->check(CLI::Range(0.05, 3600.0))
        ->option_text("SECONDS");
    watch->add_option("--for", watchOptions.duration, "Seconds to go on (default: until Ctrl-C)")
        ->check(CLI::Range(0.1, 1e7))
        ->option_text("SECONDS");
    watch->add_option("--count", watchOptions.count, "Scans to show")
        ->check(CLI::Range(1, 1000000))
        ->option_text("N");
    watch->callback([&] { run = [&] { return runWatch(options, watchOptions); }; });

    CLI::App* check = addCommand(&program, "check", "Try every tag of a project once",
                                 "panelhost check machine.toml");
    addCommonOptions(check, &options);
    addTags(check, &options);
    addFormatOptions(check, &options);
    check->callback([&] { run = [&] { return runCheck(options); }; });

    double responseTime = 5;
    CLI::App* plan = addCommand(&program, "plan", "Tell what one scan costs, without a network",
                                "panelhost plan machine.toml --response-time 8");
    plan->add_option("target", options.target, "Project file (.toml) that names the tags' types")
        ->required()
        ->option_text(" ");
    plan->add_option("--response-time", responseTime, "Of the controllers (default 5)")
        ->check(CLI::Range(0.0, 60000.0))
        ->option_text("MS");
    plan->add_flag("--json", options.json, "One JSON record per read, and one of the scan");
    plan->callback([&] { run = [&] { return runPlan(options, responseTime); }; });

    ReplayOptions replayOptions;
    CLI::App* replay = addCommand(&program, "replay", "Go through a capture without a network",
                                  "panelhost replay night.pcap Counter --changes");
    replay->add_option("file", options.target, "From --capture, or any pcap or pcapng file")
        ->required()
        ->option_text(" ");
    addTags(replay, &options);
    replay->add_option("--project", replayOptions.projectFile, "Show what this project shows")
        ->option_text("FILE");
    replay->add_flag("--changes", replayOptions.changes, "Show every change, not only the end");
    replay->add_option("--library", options.library, "Driver library to load")->option_text("FILE");
    replay->add_flag("--statistics", options.statistics, "Print traffic figures at the end");
    addFormatOptions(replay, &options);
    replay->callback([&] { run = [&] { return runReplay(options, replayOptions); }; });

    CLI::App* identify =
        addCommand(&program, "identify", "Ask what a device is", "panelhost identify 192.168.1.10");
    identify->add_option("target", options.target, "HOST[:PORT] or a project file (.toml)")
        ->required()
        ->option_text(" ");
    identify->add_option("--timeout", options.timeout, "Time-out (default 2000)")
        ->check(CLI::Range(10, 60000))
        ->option_text("MS");
    addTrafficOptions(identify, &options);
    identify->add_flag("--json", options.json, "One JSON record per station");
    identify->callback([&] { run = [&] { return runIdentify(options); }; });

    double benchDuration = 5;
    CLI::App* bench = addCommand(&program, "bench", "Scan without pause and measure",
                                 "panelhost bench 192.168.1.10 Counter --for 10");
    addCommonOptions(bench, &options);
    addTags(bench, &options);
    bench->add_option("--for", benchDuration, "Seconds to measure (default 5)")
        ->check(CLI::Range(0.1, 1e6))
        ->option_text("SECONDS");
    bench->add_flag("--json", options.json, "Figures as a JSON record")->option_text(" ");
    bench->callback([&] { run = [&] { return runBench(options, benchDuration); }; });

    const std::vector<CLI::App*> commands = program.get_subcommands(nullptr);
    const auto isNamed = [&](const CLI::App* command) { return command->get_name() == argv[1]; };
    if (argc > 1 && argv[1][0] != '-' && std::none_of(commands.begin(), commands.end(), isNamed))
        throw UsageError("unknown command '" + std::string(argv[1]) + "'; see panelhost --help");
    try {
        program.parse(argc, argv);
    } catch (const CLI::Success& request) {
        return program.exit(request); // --help, --version
    } catch (const CLI::ParseError& error) {
        std::cerr << "panelhost: " << error.what() << "; see panelhost --help\n";
        return kUsage;
    }
    const std::unique_ptr<TrafficFan> traffic = trafficFor(options);
    if (!traffic->empty())
        options.traffic = traffic.get();
    return run();
}

} // namespace

int main(int argc, char** argv)
{
    panelhost::catchSignals();
    panelhost::muteDriverMessages();
    try {
        return runProgram(argc, argv);
    } catch (const panelhost::UsageError& error) {
        std::cerr << "panelhost: " << error.what() << '\n';
        return panelhost::kUsage;
    } catch (const panelhost::LibraryError& error) {
        std::cerr << "panelhost: " << error.what() << '\n';
        return panelhost::kUsage;
    } catch (const std::exception& error) {
        std::cerr << "panelhost: " << error.what() << '\n';
        return panelhost::kNoConnection;
    }
}
