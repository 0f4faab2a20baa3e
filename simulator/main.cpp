// plcsim: a simulated controller for everybody who has none at hand.
#include "commands.h"
#include "faults.h"
#include "history.h"
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

/// What goes wrong reaches the controller, its links and its listening.
void connectFaults(Faults& faults, Controller& controller, Server& server)
{
    controller.interfere(faults.interference());
    server.ignore([&faults](const Frame& request) { return faults.ignores(request); });
    server.plan([&faults](const Frame& request, Bytes answer) {
        return faults.plan(request, std::move(answer));
    });
    Faults::Actions actions;
    actions.dropLinks = [&server] { server.dropLinks(); };
    actions.dropConnections = [&controller] { controller.dropConnections(); };
    actions.dropSessions = [&controller] { controller.dropSessions(); };
    actions.goOffline = [&server](Duration lasting) { server.goOffline(lasting); };
    actions.comeOnline = [&server] { server.comeOnline(); };
    faults.act(std::move(actions));
}

void run(const Settings& settings, Program program)
{
    asio::io_context context(1);
    Controller controller(std::move(program), settings.controller, Clock::now());
    std::optional<History> history;
    if (!settings.historyFile.empty()) {
        history.emplace(settings.historyFile);
        controller.observeTags([&history](const Tag& tag, std::size_t index, ChangeCause cause) {
            history->record(tag, index, cause);
        });
    }
    Faults faults(settings.controller.seed + 2);
    Server server(context, settings.listen, controller, settings.server);
    connectFaults(faults, controller, server);
    for (const auto& words : settings.faults)
        faults.add(words);

    const auto quit = [&context] { context.stop(); };
    asio::signal_set signals(context, SIGINT, SIGTERM);
    signals.async_wait([&quit](const asio::error_code& error, int) {
        if (!error)
            quit();
    });
    Commands commands(controller, faults, {[&server] { return server.linkCount(); }, quit});
    LineReader reader(STDIN_FILENO, [&context, &commands](std::string line) {
        asio::post(context, [&commands, line = std::move(line)] { print(commands.execute(line)); });
    });
    print({"plcsim: listening on " + shown(server.endpoint())});
    context.run();
}

int fail(int exitCode, const std::string& message)
{
    std::cerr << "plcsim: " << message << '\n';
    return exitCode;
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
        return fail(2, error.what());
    } catch (const asio::system_error& error) {
        return fail(1,
                    "cannot listen on " + shown(settings.listen) + ": " + error.code().message());
    } catch (const std::exception& error) {
        return fail(1, error.what());
    }
}
