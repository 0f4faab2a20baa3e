#include "tag_store.h"

#include <algorithm>
#include <cctype>
#include <utility>

namespace plcsim {

namespace {

// A clock that jumps (a suspended machine) must not make one scan run forever.
constexpr std::uint64_t kMostStepsPerScan = 1000;

std::string lowered(std::string_view name)
{
    std::string result(name);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return result;
}

} // namespace

TagStore::TagStore(std::vector<TagDefinition> definitions, std::uint8_t trueByte,
                   std::uint64_t seed, TimePoint now)
    : stepsDone_(definitions.size(), 0), random_(seed), start_(now)
{
    tags_.reserve(definitions.size());
    for (TagDefinition& definition : definitions) {
        byLowerName_.emplace(lowered(definition.name), tags_.size());
        tags_.emplace_back(std::move(definition), trueByte);
    }
    scan(now);
}

void TagStore::observe(Observer observer)
{
    observer_ = std::move(observer);
    for (const Tag& tag : tags_)
        for (std::size_t i = 0; i < tag.size(); ++i)
            observer_(tag, i, ChangeCause::Start);
}

Tag* TagStore::find(std::string_view name)
{
    const auto found = byLowerName_.find(lowered(name));
    return found == byLowerName_.end() ? nullptr : &tags_[found->second];
}

void TagStore::write(Tag& tag, std::size_t index, const Value& value, ChangeCause cause)
{
    tag.hold(index);
    put(tag, index, value, cause);
}

void TagStore::scan(TimePoint now)
{
    const double elapsed = secondsBetween(start_, now);
    for (std::size_t i = 0; i < tags_.size(); ++i) {
        const MotionKind kind = tags_[i].definition().motion.kind;
        if (movesInSteps(kind))
            moveInSteps(i, elapsed);
        else if (kind != MotionKind::Fixed)
            moveWave(tags_[i], elapsed);
    }
}

void TagStore::moveInSteps(std::size_t tagIndex, double elapsedSeconds)
{
    Tag& tag = tags_[tagIndex];
    const Motion& motion = tag.definition().motion;
    const auto due = static_cast<std::uint64_t>(elapsedSeconds / motion.periodSeconds);
    std::uint64_t& done = stepsDone_[tagIndex];
    if (due > done + kMostStepsPerScan)
        done = due - kMostStepsPerScan;
    for (; done < due; ++done)
        for (std::size_t i = 0; i < tag.size(); ++i)
            if (!tag.isHeld(i))
                put(tag, i, steppedValue(tag.type(), motion, tag.value(i), done + 1 + i, random_),
                    ChangeCause::Program);
}

/// The elements of an array run one behind the other, so that each shows a value of its own.
void TagStore::moveWave(Tag& tag, double elapsedSeconds)
{
    const Motion& motion = tag.definition().motion;
    const double turns = elapsedSeconds / motion.periodSeconds;
    for (std::size_t i = 0; i < tag.size(); ++i) {
        const double lead = static_cast<double>(i) / static_cast<double>(tag.size());
        if (!tag.isHeld(i))
            put(tag, i, waveValue(tag.type(), motion, turns + lead), ChangeCause::Program);
    }
}

void TagStore::put(Tag& tag, std::size_t index, const Value& value, ChangeCause cause)
{
    if (cause == ChangeCause::Program && tag.value(index) == value)
        return;
    tag.setValue(index, value);
    if (observer_)
        observer_(tag, index, cause);
}

} // namespace plcsim
