#include "settings.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <iostream>

namespace plcsim {

namespace {

constexpr int kUsageError = 2;

/// ADDRESS:PORT, with the address in numbers.
asio::ip::tcp::endpoint parseEndpoint(const std::string& text)
{
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos)
        throw CLI::ValidationError("--listen", "\"" + text + "\" is not of the form ADDRESS:PORT");
    asio::error_code error;
    const auto address = asio::ip::make_address(text.substr(0, colon), error);
    unsigned port = 0;
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data() + colon + 1, end, port);
    if (error || result.ec != std::errc() || result.ptr != end || port > 0xFFFF)
        throw CLI::ValidationError("--listen", "\"" + text + "\" is not of the form ADDRESS:PORT");
    return {address, static_cast<std::uint16_t>(port)};
}

} // namespace

std::optional<int> parseSettings(int argc, char** argv, Settings& settings)
{
    CLI::App app("A simulated Micro850 controller that speaks EtherNet/IP.", "plcsim");
    app.footer("Example: plcsim --tags examples/machine.toml --listen 127.0.0.1:0");
    std::string listen = "0.0.0.0:44818";
    double responseTime = 5;
    double scanTime = 10;
    double idleTimeout = 120;

    app.add_option("--tags", settings.tagFile, "Tag file (TOML) with the controller's program")
        ->required()
        ->type_name("FILE");
    app.add_option("--listen", listen, "Where to listen; port 0 lets the system choose")
        ->type_name("ADDRESS:PORT")
        ->capture_default_str();
    app.add_option("--response-time", responseTime, "Milliseconds from request to answer")
        ->type_name("MS")
        ->check(CLI::Range(0.0, 600000.0))
        ->capture_default_str();
    app.add_option("--scan-time", scanTime, "Milliseconds from one move of the values to the next")
        ->type_name("MS")
        ->check(CLI::Range(1.0, 600000.0))
        ->capture_default_str();
    app.add_option("--idle-timeout", idleTimeout,
                   "Seconds without a request after which a TCP link is closed")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.1, 1e6))
        ->capture_default_str();
    app.add_option("--seed", settings.controller.seed, "Start of everything random")
        ->type_name("N")
        ->capture_default_str();
    app.add_option("--max-sessions", settings.controller.mostSessions, "Most sessions at a time")
        ->type_name("N")
        ->capture_default_str();
    app.add_option("--max-connections", settings.controller.connections.mostConnections,
                   "Most CIP connections at a time")
        ->type_name("N")
        ->capture_default_str();
    app.add_flag("--refuse-long-read-data", settings.controller.tagServices.refuseLongReadData,
                 "Refuse Read Tag requests with bytes behind the element count");
    app.add_flag("--accept-backplane-path", settings.controller.connections.acceptBackplanePath,
                 "Accept a path by way of slot 0, as clients of rack controllers send it");

    try {
        app.parse(argc, argv);
        settings.listen = parseEndpoint(listen);
    } catch (const CLI::CallForHelp&) {
        std::cout << app.help();
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
