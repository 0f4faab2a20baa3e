// The commands a person or a test types while the simulator runs: one line in, lines out.
#pragma once

#include "controller.h"
#include "faults.h"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace plcsim {

class Commands {
public:
    /// What commands reach besides the controller itself.
    struct Surroundings {
        std::function<std::size_t()> linkCount = [] { return std::size_t{0}; };
        std::function<void()> quit = [] {};
    };

    Commands(Controller& controller, Faults& faults, Surroundings surroundings);

    /// Carries out one line and says what there is to say, one string per line. A line that makes
    /// no sense changes nothing and is answered with "error: ...".
    std::vector<std::string> execute(std::string_view line);

private:
    using Lines = std::vector<std::string>;
    using Words = std::vector<std::string>;

    Lines get(const Words& words);
    Lines set(const Words& words);
    Lines release(const Words& words);
    Lines listTags(const Words& words);
    Lines status(const Words& words);
    Lines download(const Words& words);
    Lines fault(const Words& words);
    Lines help(const Words& words);
    Lines quit(const Words& words);

    struct Entry {
        const char* name;
        const char* usage;
        const char* purpose;
        Lines (Commands::*run)(const Words& words);
    };
    static const std::vector<Entry>& entries();

    Controller& controller_;
    Faults& faults_;
    Surroundings surroundings_;
};

} // namespace plcsim
