#include "line_reader.h"

#include <cerrno>
#include <poll.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace plcsim {

namespace {

constexpr std::size_t kLongestLine = 1 << 20; // what is longer is cut, not collected

} // namespace

LineReader::LineReader(int descriptor, std::function<void(std::string line)> onLine)
    : descriptor_(descriptor), onLine_(std::move(onLine))
{
    if (::pipe(wakePipe_) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe");
    thread_ = std::thread([this] { run(); });
}

LineReader::~LineReader()
{
    ::close(wakePipe_[1]);
    thread_.join();
    ::close(wakePipe_[0]);
}

void LineReader::run()
{
    char chunk[4096];
    while (waitForInput()) {
        const ssize_t size = ::read(descriptor_, chunk, sizeof chunk);
        if (size < 0 && errno == EINTR)
            continue;
        if (size <= 0)
            break;
        if (pending_.size() < kLongestLine)
            pending_.append(chunk, static_cast<std::size_t>(size));
        takeLines();
    }
    if (!pending_.empty())
        onLine_(std::exchange(pending_, {}));
}

/// False when the reader is to end.
bool LineReader::waitForInput() const
{
    pollfd watched[] = {{descriptor_, POLLIN, 0}, {wakePipe_[0], POLLIN, 0}};
    while (::poll(watched, 2, -1) < 0)
        if (errno != EINTR)
            return false;
    return watched[1].revents == 0;
}

void LineReader::takeLines()
{
    std::size_t begin = 0;
    for (std::size_t end; (end = pending_.find('\n', begin)) != std::string::npos; begin = end + 1)
        onLine_(pending_.substr(begin, end - begin));
    pending_.erase(0, begin);
}

} // namespace plcsim
