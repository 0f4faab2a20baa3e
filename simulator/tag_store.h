// The controller's tags: found by name without regard to case, moved by every controller scan.
#pragma once

#include "tag.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace plcsim {

enum class ChangeCause { Start, Program, Client, Operator };

class TagStore {
public:
    /// Told of every element that got a new value.
    using Observer = std::function<void(const Tag&, std::size_t index, ChangeCause)>;

    TagStore(std::vector<TagDefinition> definitions, std::uint8_t trueByte, std::uint64_t seed,
             TimePoint now);

    void observe(Observer observer);

    Tag* find(std::string_view name);
    const std::vector<Tag>& tags() const { return tags_; }

    /// Writes a value from outside; it stays until the tag is released.
    void write(Tag& tag, std::size_t index, const Value& value, ChangeCause cause);

    /// Runs one controller scan: moves every moving element to where it is at `now`.
    void scan(TimePoint now);

private:
    void moveInSteps(std::size_t tagIndex, double elapsedSeconds);
    void moveWave(Tag& tag, double elapsedSeconds);
    void put(Tag& tag, std::size_t index, const Value& value, ChangeCause cause);

    std::vector<Tag> tags_;
    std::vector<std::uint64_t> stepsDone_; ///< per tag
    std::map<std::string, std::size_t> byLowerName_;
    Observer observer_;
    RandomSource random_;
    TimePoint start_;
};

} // namespace plcsim
