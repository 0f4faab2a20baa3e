// How people name a tag or a part of one: Name, Name[3], Name[2..4].
#pragma once

#include "tag_store.h"

#include <stdexcept>
#include <string>
#include <string_view>

namespace plcsim {

struct TagReference {
    Tag* tag = nullptr;
    std::size_t first = 0;
    std::size_t count = 0;
    std::string text; ///< as it was written
};

/// Throws std::invalid_argument that says what is wrong with the reference.
TagReference resolve(TagStore& store, const std::string& text);

} // namespace plcsim
