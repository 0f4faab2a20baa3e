#include "plan.h"

#include <algorithm>

namespace panelhost {
namespace {

void appendCut(std::vector<ElementRange>* reads, ElementRange range, int limit)
{
    while (range.count > 0) {
        const int count = std::min(range.count, limit);
        reads->push_back({range.first, count});
        range.first += count;
        range.count -= count;
    }
}

} // namespace

int elementsPerRead(const CipType& type)
{
    // Texts vary in length, so each is read alone.
    return type.width > 0 ? kMaxValueBytes / type.width : 1;
}

std::vector<ElementRange> planReads(const CipType& type, std::vector<ElementRange> wanted)
{
    std::vector<ElementRange> reads;
    std::sort(wanted.begin(), wanted.end(),
              [](const ElementRange& a, const ElementRange& b) { return a.first < b.first; });
    const int limit = elementsPerRead(type);
    ElementRange current{0, 0};
    for (const ElementRange& range : wanted) {
        const int end = std::max(current.end(), range.end());
        const bool overlaps = current.count > 0 && range.first <= current.end();
        const bool fits = current.count > 0 && end - current.first <= limit;
        if (overlaps || fits) {
            current.count = end - current.first;
        } else {
            appendCut(&reads, current, limit);
            current = range;
        }
    }
    appendCut(&reads, current, limit);
    return reads;
}

std::vector<ElementRange> planSeparateReads(const CipType& type,
                                            const std::vector<ElementRange>& wanted)
{
    std::vector<ElementRange> reads;
    for (const ElementRange& range : wanted)
        appendCut(&reads, range, elementsPerRead(type));
    return reads;
}

int cyclicCount(const CipType& type, int elements)
{
    switch (type.form) {
    case RegisterForm::DoubleWord: return elements + 1;
    case RegisterForm::QuadWord: return elements + 3;
    default: return elements;
    }
}

int onceCount(const CipType& type, int elements)
{
    switch (type.form) {
    case RegisterForm::DoubleWord: return 2 * elements;
    case RegisterForm::QuadWord: return 4 * elements;
    default: return elements;
    }
}

std::string readObstacle(const CipType& type, const ElementRange& range)
{
    if (type.form == RegisterForm::String && range.end() > 1)
        return "only element 0 of a string array can be read";
    return {};
}

std::string writeObstacle(const CipType& type, const std::string& tag, const ElementRange& range)
{
    if (!type.writable())
        return std::string(type.name) + " tags can be read, but the driver has no write for them";
    if (type.form == RegisterForm::String && range.end() > 1)
        return "only element 0 of a string array can be written";
    // Sequence count, service, path with name and element, data type, element count and offset come
    // out of the connection's 504 bytes; the name is padded to an even length.
    const int overhead = 2 + 2 + 2 + static_cast<int>(tag.size()) + 1 + 4 + 2 + 4 + 2;
    const int limit = (504 - overhead) / std::max(type.width, 1);
    if (type.width > 0 && range.count > limit)
        return "one write carries at most " + std::to_string(limit) + " elements of this tag";
    return {};
}

} // namespace panelhost
