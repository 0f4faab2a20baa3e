// The command line of plcsim.
#pragma once

#include "controller.h"
#include "server.h"

#include <optional>
#include <string>

namespace plcsim {

struct Settings {
    std::string tagFile;
    asio::ip::tcp::endpoint listen;
    ControllerOptions controller;
    Server::Options server;
};

/// Fills `settings`, or says on stdout or stderr why not and returns the exit code.
std::optional<int> parseSettings(int argc, char** argv, Settings& settings);

} // namespace plcsim
