// plcsim: a simulated controller for everybody who has none at hand.
#include "commands.h"
#include "line_reader.h"
#include "server.h"
#include "settings.h"

#include <csignal>
#include <iostream>
#include <unistd.h>

namespace {

using namespace plcsim;

void print(const std::vector<std::string>& lines)
{
    for (const std::string& line : lines)
        std::cout << line << '\n';
    std::cout << std::flush;
}

std::string shown(const asio::ip::tcp::endpoint& endpoint)
{
    return endpoint.address().to_string() + ":" + std::to_string(endpoint.port());
}

void run(const Settings& settings, Program program)
{
    asio::io_context context(1);
    Controller controller(std::move(program), settings.controller, Clock::now());
    Server server(context, settings.listen, controller, settings.server);
    const auto quit = [&context] { context.stop(); };

    asio::signal_set signals(context, SIGINT, SIGTERM);
    signals.async_wait([&quit](const asio::error_code& error, int) {
        if (!error)
            quit();
    });
    Commands commands(controller, {[&server] { return server.linkCount(); }, quit});
    LineReader reader(STDIN_FILENO, [&context, &commands](std::string line) {
        asio::post(context, [&commands, line = std::move(line)] { print(commands.execute(line)); });
    });
    print({"plcsim: listening on " + shown(server.endpoint())});
    context.run();
}

} // namespace

int main(int argc, char** argv)
{
    std::signal(SIGPIPE, SIG_IGN);
    Settings settings;
    if (const auto exitCode = parseSettings(argc, argv, settings))
        return *exitCode;
    try {
        run(settings, loadTagFile(settings.tagFile));
        return 0;
    } catch (const TagFileError& error) {
        std::cerr << "plcsim: " << error.what() << '\n';
        return 2;
    } catch (const std::exception& error) {
        std::cerr << "plcsim: cannot listen on " << shown(settings.listen) << ": " << error.what()
                  << '\n';
        return 1;
    }
}
