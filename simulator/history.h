// Writes down every change of every tag, so that what a client showed can be compared with the truth.
#pragma once

#include "tag_store.h"

#include <fstream>
#include <string>

namespace plcsim {

/// One line per change: microseconds since 1970, cause, tag, index, value.
class History {
public:
    /// Throws std::runtime_error if the file cannot be written.
    explicit History(const std::string& path);

    void record(const Tag& tag, std::size_t index, ChangeCause cause);

private:
    std::ofstream file_;
};

} // namespace plcsim
