// What a user calls a value: Name, Name[3] or Name[3..7].

#ifndef PANELHOST_TAG_REFERENCE_H
#define PANELHOST_TAG_REFERENCE_H

#include <stdexcept>
#include <string>

namespace panelhost {

/// A mistake in what the user asked for; the text names the culprit.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct TagReference {
    std::string name;
    int first = 0;
    int count = 1;
    bool indexed = false; ///< the user wrote an index

    /// As the user would write it.
    std::string text() const;
};

/// Highest element that requests can name reliably.
constexpr int kHighestIndex = 65535;
constexpr int kMaxNameLength = 255;
constexpr int kMaxElements = 10000; ///< of one reference; a screen shows far fewer

/// Throws UsageError with the reason when text is no reference that a controller can be asked for.
TagReference parseTagReference(const std::string& text);

/// Controllers do not tell capitals from small letters.
bool sameTagName(const std::string& a, const std::string& b);

} // namespace panelhost

#endif // PANELHOST_TAG_REFERENCE_H
