// One tag of the controller's program: a name, a type, and elements kept as the bytes a read
// returns.
#pragma once

#include "clock.h"
#include "motion.h"
#include "value.h"

#include <optional>
#include <string>
#include <vector>

namespace plcsim {

struct TagDefinition {
    std::string name;
    const CipType* type = nullptr;
    std::optional<std::size_t> size; ///< of an array; none for a single value
    bool readOnly = false;
    std::size_t maxLength = 80; ///< characters that a text tag holds
    std::vector<Value> values;  ///< to begin with; missing ones are zero
    Motion motion;
};

class Tag {
public:
    Tag(TagDefinition definition, std::uint8_t trueByte);

    const TagDefinition& definition() const { return definition_; }
    const std::string& name() const { return definition_.name; }
    const CipType& type() const { return *definition_.type; }
    bool isArray() const { return definition_.size.has_value(); }
    std::size_t size() const { return definition_.size.value_or(1); }

    Value value(std::size_t index) const;
    void setValue(std::size_t index, const Value& value);

    /// The bytes of `count` elements from `first` on, which the caller has checked to exist.
    Bytes bytes(std::size_t first, std::size_t count) const;

    /// A value set from outside stays until the tag is released; the others keep moving.
    bool isHeld(std::size_t index) const { return held_[index]; }
    void hold(std::size_t index) { held_[index] = true; }
    void release() { held_.assign(size(), false); }

private:
    TagDefinition definition_;
    std::uint8_t trueByte_;
    Bytes fixedWidth_;               ///< the elements, for types of one width
    std::vector<std::string> texts_; ///< the elements, for text types
    std::vector<bool> held_;
};

} // namespace plcsim
