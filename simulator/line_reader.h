// Reads standard input line by line on a thread of its own, so that a terminal, a pipe and a file
// all work and none is switched to non-blocking behind the back of who shares it.
#pragma once

#include <functional>
#include <string>
#include <thread>

namespace plcsim {

class LineReader {
public:
    /// Calls `onLine` on the reader's thread for every line until the input ends.
    LineReader(int descriptor, std::function<void(std::string line)> onLine);
    ~LineReader();

    LineReader(const LineReader&) = delete;
    LineReader& operator=(const LineReader&) = delete;

private:
    void run();
    bool waitForInput() const;
    void takeLines();

    int descriptor_;
    std::function<void(std::string)> onLine_;
    int wakePipe_[2] = {-1, -1};
    std::string pending_;
    std::thread thread_;
};

} // namespace plcsim
