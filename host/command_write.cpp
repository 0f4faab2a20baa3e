// panelhost write: checks every value against its tag's type before the first one leaves, writes,
// reads back, compares.

#include "command.h"
#include "output.h"

#include <iostream>

namespace panelhost {
namespace {

struct Assignment {
    std::string tag;
    std::string value;
};

Assignment parseAssignment(const std::string& text)
{
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos || equals == 0)
        throw UsageError("'" + text + "': write it as TAG=VALUE");
    return {text.substr(0, equals), text.substr(equals + 1)};
}

/// One text for each element: a list is separated by commas, a single value is taken whole.
std::vector<std::string> elementTexts(const TagReference& reference, const std::string& value)
{
    if (reference.count == 1)
        return {value};
    std::vector<std::string> texts;
    std::size_t begin = 0;
    for (;;) {
        const std::size_t comma = value.find(',', begin);
        texts.push_back(value.substr(begin, comma - begin));
        if (comma == std::string::npos)
            break;
        begin = comma + 1;
    }
    if (texts.size() != static_cast<std::size_t>(reference.count))
        throw UsageError(std::to_string(texts.size()) + " values for " +
                         std::to_string(reference.count) + " elements");
    return texts;
}

std::vector<Value> checkedValues(const ProjectTag& tag, const CipType& type,
                                 const std::string& value)
{
    const TagReference& reference = tag.reference;
    try {
        const std::string obstacle =
            writeObstacle(type, reference.name, {reference.first, reference.count});
        if (!obstacle.empty())
            throw UsageError(obstacle);
        std::vector<Value> values;
        for (const std::string& text : elementTexts(reference, value))
            values.push_back(parseValue(type, text));
        return values;
    } catch (const UsageError& error) {
        throw UsageError(reference.text() + ": " + error.what());
    }
}

/// Waits for a reading that was asked for after the write was answered.
Snapshot readBack(Host* host, std::size_t tag, Clock::time_point written)
{
    const Clock::time_point deadline = firstReadDeadline(host->project());
    Snapshot shown = host->snapshot(tag);
    while (!stopRequested() && Clock::now() < deadline &&
           !(shown.quality == Quality::Good && shown.asOf > written) &&
           !(shown.quality == Quality::Bad && shown.settled)) {
        host->waitForChange(Clock::now() + std::chrono::milliseconds(20));
        shown = host->snapshot(tag);
    }
    return shown;
}

bool writeOne(Host* host, std::size_t index, const std::vector<Value>& values)
{
    const Palette& colours = palette();
    const ProjectTag& tag = host->project().tags[index];
    const auto fail = [&](const std::string& reason) {
        std::cout << host->project().label(tag) << " = " << colours.bad << "bad: " << reason
                  << colours.reset << '\n';
        return false;
    };
    const WriteOutcome outcome = host->write(index, values).get();
    if (!outcome.done)
        return fail(outcome.reason);
    const Snapshot shown = readBack(host, index, outcome.sentAt);
    if (shown.quality != Quality::Good || shown.asOf <= outcome.sentAt)
        return fail("written, but not read back: " + shown.reason);
    if (shown.values != values)
        return fail("written, but it reads " + valueText(tag, shown) + " now");
    std::cout << host->project().label(tag) << " = " << colours.bold << valueText(tag, shown)
              << colours.reset << colours.dim << "  " << shown.type->name
              << ", written and read back" << colours.reset << '\n';
    return true;
}

} // namespace

int runWrite(const CommonOptions& options, const std::vector<std::string>& assignments)
{
    std::vector<Assignment> wanted;
    CommonOptions withTags = options;
    for (const std::string& text : assignments) {
        wanted.push_back(parseAssignment(text));
        withTags.tags.push_back(wanted.back().tag);
    }
    const Project project = projectFor(withTags);
    Host host(project, libraryFor(options), options.traffic);
    host.start();
    waitUntilSettled(&host, firstReadDeadline(project));

    if (verdict(host) == kNoConnection) {
        explainNoConnection(host);
        return kNoConnection;
    }

    std::vector<std::vector<Value>> values;
    for (std::size_t i = 0; i < host.tagCount(); ++i) {
        const Snapshot shown = host.snapshot(i);
        if (shown.quality != Quality::Good) {
            std::cerr << "panelhost: nothing was written, as "
                      << host.project().label(project.tags[i])
                      << " cannot be read: " << shown.reason << '\n';
            return verdict(host);
        }
        values.push_back(checkedValues(project.tags[i], *shown.type, wanted[i].value));
    }

    bool allGood = true;
    for (std::size_t i = 0; i < host.tagCount(); ++i)
        allGood = writeOne(&host, i, values[i]) && allGood;
    host.stop();
    if (options.statistics)
        printStatistics(host, options.format());
    return allGood ? kAllGood : kSomeTagBad;
}

} // namespace panelhost
