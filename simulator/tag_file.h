// The tag file: what the controller is and which tags its program has, as a TOML document.
#pragma once

#include "tag.h"

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace plcsim {

/// What the controller says about itself.
struct ControllerIdentity {
    std::string name = "2080-LC50-24QWB";
    std::uint16_t vendor = 1;
    std::uint16_t deviceType = 0x0E; ///< programmable logic controller
    std::uint16_t productCode = 141;
    std::uint8_t majorRevision = 6;
    std::uint8_t minorRevision = 11;
    std::uint32_t serial = 0x5EED0001;
};

struct Program {
    ControllerIdentity identity;
    std::uint8_t trueByte = 0x01; ///< how a true BOOL reads; some controllers say 0xFF
    std::vector<TagDefinition> tags;
};

/// A tag file that cannot be used; what() is one line that names file, line and tag.
class TagFileError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

Program loadTagFile(const std::string& path);

/// The same from text; `path` is only named in errors.
Program parseTagFile(std::string_view text, const std::string& path);

} // namespace plcsim
