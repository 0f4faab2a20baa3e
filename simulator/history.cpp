#include "history.h"

#include <chrono>
#include <stdexcept>

namespace plcsim {

namespace {

const char* nameOf(ChangeCause cause)
{
    switch (cause) {
    case ChangeCause::Start: return "start";
    case ChangeCause::Program: return "program";
    case ChangeCause::Client: return "client";
    default: return "operator";
    }
}

} // namespace

History::History(const std::string& path) : file_(path, std::ios::trunc)
{
    if (!file_)
        throw std::runtime_error(path + ": cannot be written");
}

void History::record(const Tag& tag, std::size_t index, ChangeCause cause)
{
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    file_ << std::chrono::duration_cast<std::chrono::microseconds>(now).count() << ' '
          << nameOf(cause) << ' ' << tag.name() << ' ' << index << ' '
          << formatValue(tag.type(), tag.value(index)) << '\n';
}

} // namespace plcsim
