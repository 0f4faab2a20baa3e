#include "history.h"

#include <cstdlib>
#include <fcntl.h>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace truth {
namespace {

constexpr Stamp kSecond = 1000000;
constexpr Stamp kKept = 60 * kSecond; // far longer than any value stays good

/// A pipe that nobody has to wait for: the reader is there before the writer, and what the simulator
/// writes during one command fits.
int openPipe(const std::string& path)
{
    constexpr int kRoom = 1 << 20;
    if (mkfifo(path.c_str(), 0600) != 0)
        throw std::runtime_error(path + ": no pipe");
    const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    fcntl(descriptor, F_SETPIPE_SZ, kRoom);
    return descriptor;
}

} // namespace

History::History(std::map<int, Program> programs) : programs_(std::move(programs))
{
    std::string directory = "/tmp/truth_XXXXXX";
    if (mkdtemp(directory.data()) == nullptr)
        throw std::runtime_error("no temporary directory");
    path_ = directory + "/history";
    descriptor_ = openPipe(path_);
}

History::~History()
{
    close(descriptor_);
    unlink(path_.c_str());
    rmdir(path_.substr(0, path_.rfind('/')).c_str());
}

void History::update()
{
    char chunk[1 << 16];
    for (;;) {
        const ssize_t size = read(descriptor_, chunk, sizeof chunk);
        if (size <= 0)
            break;
        unfinished_.append(chunk, static_cast<std::size_t>(size));
        std::size_t begin = 0;
        for (std::size_t end = 0; (end = unfinished_.find('\n', begin)) != std::string::npos;
             begin = end + 1)
            takeLine(unfinished_.substr(begin, end - begin));
        unfinished_.erase(0, begin);
    }
    if (knownUntil_ > forgottenUntil_ + kKept)
        forget();
}

void History::takeLine(const std::string& line)
{
    std::istringstream words(line);
    Stamp at = 0;
    std::string cause;
    std::string tag;
    std::size_t element = 0;
    words >> at >> cause >> tag >> element;
    words.get();
    Held held;
    std::getline(words, held.value);
    if (!words)
        throw std::runtime_error("not a line of a history: " + line);
    if (cause == "start" && tag == kProgramTag)
        startProgram(std::stoi(held.value), at);

    held.since = at;
    held.type = &running_->find(tag)->type;
    held.byClient = cause == "client";
    std::vector<Past>& elements = tags_[tag];
    if (elements.size() <= element)
        elements.resize(element + 1);
    elements[element].push_back(std::move(held));
    knownUntil_ = at;
    ++changes_;
}

void History::startProgram(int number, Stamp at)
{
    running_ = &programs_.at(number);
    Held nothing;
    nothing.since = at;
    for (auto& [tag, elements] : tags_)
        for (Past& past : elements)
            past.push_back(nothing);
}

/// Keeps the last change before the time that is still asked about: it tells what was held then.
void History::forget()
{
    forgottenUntil_ = knownUntil_;
    for (auto& [tag, elements] : tags_)
        for (Past& past : elements)
            while (past.size() > 1 && past[1].since < knownUntil_ - kKept)
                past.pop_front();
}

const History::Past* History::past(const std::string& tag, int element) const
{
    const auto found = tags_.find(tag);
    const auto at = static_cast<std::size_t>(element);
    return found != tags_.end() && at < found->second.size() ? &found->second[at] : nullptr;
}

bool History::held(const std::string& tag, int element, const std::string& type,
                   const std::string& value, Stamp from, Stamp until) const
{
    const Past* changes = past(tag, element);
    if (changes == nullptr)
        return false;
    Stamp end = INT64_MAX;
    for (auto change = changes->rbegin(); change != changes->rend() && end >= from; ++change) {
        if (change->since <= until && change->type != nullptr && *change->type == type &&
            change->value == value)
            return true;
        end = change->since;
    }
    return false;
}

bool History::written(const std::string& tag, int element, const std::string& value, Stamp from,
                      Stamp until) const
{
    const Past* changes = past(tag, element);
    if (changes == nullptr)
        return false;
    for (auto change = changes->rbegin(); change != changes->rend() && change->since >= from;
         ++change)
        if (change->byClient && change->since <= until && change->value == value)
            return true;
    return false;
}

std::string History::describe(const std::string& tag, int element, Stamp from, Stamp until) const
{
    const Past* changes = past(tag, element);
    if (changes == nullptr)
        return "it never existed";
    std::string text;
    Stamp end = INT64_MAX;
    for (auto change = changes->rbegin(); change != changes->rend() && end >= from - kSecond;
         ++change) {
        if (change->since <= until + kSecond) {
            const std::string held = change->type != nullptr ? *change->type + " " + change->value
                                                             : std::string("nothing");
            text =
                " " + held + " (" + std::to_string((change->since - from) / 1000) + " ms)" + text;
        }
        end = change->since;
    }
    return "the controller held" + text;
}

} // namespace truth
