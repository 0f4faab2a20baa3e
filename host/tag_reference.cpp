#include "tag_reference.h"

#include <algorithm>
#include <cctype>
#include <charconv>

namespace panelhost {
namespace {

bool isNameCharacter(char c)
{
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

[[noreturn]] void refuse(const std::string& text, const std::string& why)
{
    throw UsageError("'" + text + "': " + why);
}

void checkName(const std::string& text, const std::string& name)
{
    if (name.empty())
        refuse(text, "a tag name is missing");
    if (name.find('.') != std::string::npos)
        refuse(text, "members of structures cannot be addressed, only whole global variables");
    if (name.find(':') != std::string::npos || name.find('@') != std::string::npos)
        refuse(text, "program-local variables cannot be addressed, only global ones");
    if (!std::all_of(name.begin(), name.end(), isNameCharacter) ||
        std::isdigit(static_cast<unsigned char>(name.front())) != 0)
        refuse(text, "a tag name consists of letters, digits and '_', and starts with no digit");
    if (name.size() > static_cast<std::size_t>(kMaxNameLength))
        refuse(text, "a tag name has at most 255 characters");
}

int parseIndex(const std::string& text, const std::string& digits)
{
    int index = 0;
    const char* end = digits.data() + digits.size();
    const auto [stopped, error] = std::from_chars(digits.data(), end, index);
    if (error == std::errc::result_out_of_range)
        refuse(text, "indexes go from 0 to 65535");
    if (digits.empty() || error != std::errc() || stopped != end)
        refuse(text, "the index must be a number, as in Name[3] or Name[3..7]");
    if (index < 0 || index > kHighestIndex)
        refuse(text, "indexes go from 0 to 65535");
    return index;
}

} // namespace

std::string TagReference::text() const
{
    if (!indexed)
        return name;
    if (count == 1)
        return name + "[" + std::to_string(first) + "]";
    return name + "[" + std::to_string(first) + ".." + std::to_string(first + count - 1) + "]";
}

TagReference parseTagReference(const std::string& text)
{
    TagReference reference;
    const std::size_t bracket = text.find('[');
    reference.name = text.substr(0, bracket);
    checkName(text, reference.name);
    if (bracket == std::string::npos)
        return reference;

    if (text.back() != ']')
        refuse(text, "the closing ']' is missing, or something follows it");
    const std::string inside = text.substr(bracket + 1, text.size() - bracket - 2);
    if (inside.find(',') != std::string::npos)
        refuse(text, "only arrays of one dimension can be addressed");
    const std::size_t dots = inside.find("..");
    reference.indexed = true;
    reference.first = parseIndex(text, inside.substr(0, dots));
    if (dots != std::string::npos) {
        const int last = parseIndex(text, inside.substr(dots + 2));
        if (last < reference.first)
            refuse(text, "the range runs backwards");
        reference.count = last - reference.first + 1;
        if (reference.count > kMaxElements)
            refuse(text, "a range covers at most 10000 elements");
    }
    return reference;
}

bool sameTagName(const std::string& a, const std::string& b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](unsigned char x, unsigned char y) {
        return std::toupper(x) == std::toupper(y);
    });
}

} // namespace panelhost
