// From the values a user wants to the reads that fetch them: neighbouring ranges of one tag share a
// read, long ranges are cut at what one reply holds.

#ifndef PANELHOST_PLAN_H
#define PANELHOST_PLAN_H

#include "cip_type.h"

#include <string>
#include <vector>

namespace panelhost {

/// Elements of one tag.
struct ElementRange {
    int first = 0;
    int count = 1;

    int end() const { return first + count; }
};

/// Value bytes that one reply holds: a connection of 504 bytes less sequence count, reply header and
/// data type.
constexpr int kMaxValueBytes = 504 - 2 - 4 - 2;

/// Elements of a type of this width that one read may ask for.
int elementsPerRead(const CipType& type);

/// The reads for these ranges, in ascending order and without overlap. Ranges are joined, gaps
/// included, while one reply holds them; a gap lies between elements that were asked for, so it
/// exists.
std::vector<ElementRange> planReads(const CipType& type, std::vector<ElementRange> wanted);

/// Like planReads(), but nothing is joined, so that a range beyond the end fails alone.
std::vector<ElementRange> planSeparateReads(const CipType& type,
                                            const std::vector<ElementRange>& wanted);

/// The count that makes the driver ask for this many elements in a cyclic read: it asks for count - 1
/// elements of 32 bits and count - 3 of 64 bits.
int cyclicCount(const CipType& type, int elements);

/// The same for a once-read, where it asks for count / 2 and count / 4.
int onceCount(const CipType& type, int elements);

/// Why elements of this range cannot be read, or empty.
std::string readObstacle(const CipType& type, const ElementRange& range);

/// Why elements of this range of a tag cannot be written, or empty.
std::string writeObstacle(const CipType& type, const std::string& tag, const ElementRange& range);

} // namespace panelhost

#endif // PANELHOST_PLAN_H
