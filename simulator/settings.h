// The command line of plcsim.
#pragma once

#include "controller.h"
#include "server.h"

#include <optional>
#include <string>
#include <vector>

namespace plcsim {

struct Settings {
    std::string tagFile;
    asio::ip::tcp::endpoint listen;
    ControllerOptions controller;
    Server::Options server;
    std::string historyFile;                      ///< empty for none
    std::vector<std::vector<std::string>> faults; ///< each in words
};

/// Fills `settings`, or says on stdout or stderr why not and returns the exit code.
std::optional<int> parseSettings(int argc, char** argv, Settings& settings);

} // namespace plcsim
