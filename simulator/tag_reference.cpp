#include "tag_reference.h"

#include <charconv>

namespace plcsim {

namespace {

[[noreturn]] void refuse(const std::string& message)
{
    throw std::invalid_argument(message);
}

std::size_t parseIndex(std::string_view digits, const std::string& text)
{
    std::size_t index = 0;
    const char* end = digits.data() + digits.size();
    const auto result = std::from_chars(digits.data(), end, index);
    if (digits.empty() || result.ec != std::errc() || result.ptr != end)
        refuse("\"" + text + "\" is not of the form Name, Name[3] or Name[2..4]");
    return index;
}

} // namespace

TagReference resolve(TagStore& store, const std::string& text)
{
    TagReference reference;
    reference.text = text;
    const std::size_t bracket = text.find('[');
    const std::string name = text.substr(0, bracket);
    reference.tag = store.find(name);
    if (!reference.tag)
        refuse("no tag \"" + name + "\"");
    if (bracket == std::string::npos) {
        reference.count = reference.tag->size();
        return reference;
    }
    if (text.back() != ']')
        refuse("\"" + text + "\" is not of the form Name, Name[3] or Name[2..4]");
    const std::string range = text.substr(bracket + 1, text.size() - bracket - 2);
    const std::size_t dots = range.find("..");
    reference.first = parseIndex(std::string_view(range).substr(0, dots), text);
    const std::size_t last = dots == std::string::npos
                                 ? reference.first
                                 : parseIndex(std::string_view(range).substr(dots + 2), text);
    if (last < reference.first)
        refuse("\"" + text + "\" ends before it begins");
    if (last >= reference.tag->size())
        refuse(name + " has elements 0.." + std::to_string(reference.tag->size() - 1));
    reference.count = last - reference.first + 1;
    return reference;
}

} // namespace plcsim
