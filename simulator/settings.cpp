#include "settings.h"

#include "fault_rule.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <iomanip>
#include <iostream>
#include <iterator>
#include <sstream>
#include <type_traits>

namespace plcsim {

namespace {

constexpr int kUsageError = 2;

/// ADDRESS:PORT, with the address in numbers.
asio::ip::tcp::endpoint parseEndpoint(const std::string& text)
{
    const CLI::ValidationError wrong("--listen", "\"" + text +
                                                     "\" is not of the form ADDRESS:PORT, such as "
                                                     "127.0.0.1:44818");
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos)
        throw wrong;
    asio::error_code error;
    const auto address = asio::ip::make_address(text.substr(0, colon), error);
    unsigned port = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data() + colon + 1, end, port);
    if (error || result.ec != std::errc() || result.ptr != end || port > 0xFFFF)
        throw wrong;
    return {address, static_cast<std::uint16_t>(port)};
}

template <typename Number>
CLI::Validator within(Number min, Number max)
{
    const auto check = [min, max](const std::string& text) {
        Number number = 0;
        if (CLI::detail::lexical_cast(text, number) && number >= min && number <= max)
            return std::string();
        std::ostringstream complaint;
        complaint << text << " is not a " << (std::is_integral_v<Number> ? "whole " : "")
                  << "number within " << min << ".." << std::fixed << std::setprecision(0) << max;
        return complaint.str();
    };
    return CLI::Validator(check, "");
}

CLI::Validator wholeWithin(std::int64_t min, std::int64_t max)
{
    return within(min, max);
}

std::vector<std::string> parseFaultOption(const std::string& text)
{
    std::istringstream stream(text);
    const std::vector<std::string> words{std::istream_iterator<std::string>(stream), {}};
    try {
        parseFault(words);
        return words;
    } catch (const std::invalid_argument& error) {
        throw CLI::ValidationError("--fault", error.what());
    }
}

constexpr char kFooter[] = R"(
Commands on standard input: get, set, release, tags, status, download, fault, help, quit;
help lists them with the kinds of fault.

Example: plcsim --tags examples/machine.toml --listen 127.0.0.1:0 --fault "delay 20")";

} // namespace

std::optional<int> parseSettings(int argc, char** argv, Settings& settings)
{
    CLI::App app("A simulated Micro850 controller that speaks EtherNet/IP.", "plcsim");
    app.footer(kFooter);
    app.set_version_flag("--version", "plcsim " PLCSIM_VERSION, "Print the version");
    std::string listen = "0.0.0.0:44818";
    double responseTime = 5;
    double scanTime = 10;
    double idleTimeout = 120;

    std::vector<std::string> faults;

    app.add_option("--tags", settings.tagFile, "Tag file (TOML) with the controller's program")
        ->required()
        ->option_text("FILE (required)");
    app.add_option("--listen", listen, "Where to listen; port 0 lets the system choose")
        ->option_text("ADDRESS:PORT (0.0.0.0:44818)");
    app.add_option("--response-time", responseTime, "Milliseconds from request to answer")
        ->option_text("MS (5)")
        ->check(within(0.0, 600000.0));
    app.add_option("--scan-time", scanTime, "Milliseconds from one move of the values to the next")
        ->option_text("MS (10)")
        ->check(within(1.0, 600000.0));
    app.add_option("--idle-timeout", idleTimeout,
                   "Seconds without a request after which a TCP link is closed")
        ->option_text("SECONDS (120)")
        ->check(within(0.1, 1e6));
    app.add_option("--max-sessions", settings.controller.mostSessions, "Most sessions at a time")
        ->option_text("N (23)")
        ->check(wholeWithin(1, 100000));
    app.add_option("--max-connections", settings.controller.connections.mostConnections,
                   "Most CIP connections at a time")
        ->option_text("N (24)")
        ->check(wholeWithin(1, 100000));
    app.add_flag("--refuse-long-read-data", settings.controller.tagServices.refuseLongReadData,
                 "Refuse Read Tag requests with bytes behind the element count");
    app.add_flag("--accept-backplane-path", settings.controller.connections.acceptBackplanePath,
                 "Accept a path by way of slot 0, as clients of rack controllers send it");
    app.add_option("--fault", faults, "A fault from the start, in quotes; may be given again")
        ->option_text("\"KIND ...\"")
        ->allow_extra_args(false);
    app.add_option("--history", settings.historyFile, "Write every change of every tag to a file")
        ->option_text("FILE");
    app.add_option("--seed", settings.controller.seed, "Start of everything random")
        ->option_text("N (1)")
        ->check(wholeWithin(0, 4294967295));

    try {
        app.parse(argc, argv);
        settings.listen = parseEndpoint(listen);
        for (const std::string& fault : faults)
            settings.faults.push_back(parseFaultOption(fault));
    } catch (const CLI::CallForHelp&) {
        std::cout << app.help();
        return 0;
    } catch (const CLI::CallForVersion& version) {
        std::cout << version.what() << '\n';
        return 0;
    } catch (const CLI::ParseError& error) {
        std::cerr << "plcsim: " << error.what() << '\n';
        return kUsageError;
    }
    const auto milliseconds = [](double ms) { return fromSeconds(ms / 1000); };
    settings.server.responseTime = milliseconds(responseTime);
    settings.server.scanTime = milliseconds(scanTime);
    settings.server.idleTimeout = fromSeconds(idleTimeout);
    return std::nullopt;
}

} // namespace plcsim
