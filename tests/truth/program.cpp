#include "program.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace truth {

const char* const kProgramTag = "ProgramNumber";

namespace {

/// Values of a type lie between these; wide enough that tags do not share values by chance.
struct TypeRow {
    const char* name;
    const char* min;
    const char* max;
    bool writable;
};

constexpr std::array kNumbers = {
    TypeRow{"BOOL", "0", "1", true},
    TypeRow{"SINT", "-128", "127", true},
    TypeRow{"INT", "-32768", "32767", true},
    TypeRow{"DINT", "-2147483648", "2147483647", true},
    TypeRow{"LINT", "-9223372036854775808", "9223372036854775807", true},
    TypeRow{"USINT", "0", "255", true},
    TypeRow{"UINT", "0", "65535", true},
    TypeRow{"UDINT", "0", "4294967295", true},
    TypeRow{"ULINT", "0", "9223372036854775807", true},
    TypeRow{"REAL", "-1e30", "1e30", true},
    TypeRow{"LREAL", "-1e300", "1e300", true},
    TypeRow{"BYTE", "0", "255", true},
    TypeRow{"WORD", "0", "65535", false},
    TypeRow{"DWORD", "0", "4294967295", false},
    TypeRow{"LWORD", "0", "9223372036854775807", false},
    TypeRow{"TIME", "-2147483648", "2147483647", false},
    TypeRow{"STIME", "-2147483648", "2147483647", false},
    TypeRow{"DATE", "0", "65535", false},
    TypeRow{"TIME_OF_DAY", "0", "4294967295", false},
    TypeRow{"DATE_AND_TIME", "0", "281474976710655", false},
    TypeRow{"FTIME", "-2147483648", "2147483647", false},
    TypeRow{"LTIME", "-9223372036854775808", "9223372036854775807", false},
    TypeRow{"ITIME", "-32768", "32767", false},
};

constexpr std::array kTexts = {
    TypeRow{"STRING", "", "", true},
    TypeRow{"LONG_STRING", "", "", false},
    TypeRow{"STRING2", "", "", false},
    TypeRow{"STRINGN", "", "", false},
};

const TypeRow& row(const std::string& type)
{
    const auto sameName = [&type](const TypeRow& candidate) { return type == candidate.name; };
    const auto* number = std::find_if(kNumbers.begin(), kNumbers.end(), sameName);
    return number != kNumbers.end() ? *number
                                    : *std::find_if(kTexts.begin(), kTexts.end(), sameName);
}

bool isText(const std::string& type)
{
    return type.find("STRING") != std::string::npos;
}

const char* anyType(Random* random)
{
    const int count = static_cast<int>(kNumbers.size() + kTexts.size());
    const auto pick = static_cast<std::size_t>(randomBetween(random, 0, count - 1));
    return pick < kNumbers.size() ? kNumbers[pick].name : kTexts[pick - kNumbers.size()].name;
}

std::string motion(const ProgramTag& tag, int number, Random* random)
{
    const std::string period = "\nperiod = 0." + std::to_string(randomBetween(random, 100, 600));
    if (!isText(tag.type)) {
        const TypeRow& limits = row(tag.type);
        return std::string("motion = \"random\"\nmin = \"") + limits.min + "\"\nmax = \"" +
               limits.max + "\"" + period;
    }
    // Lengths go up and down, so that the tail of a longer predecessor would show.
    const std::string own = tag.name + " of " + std::to_string(number);
    std::string choices;
    for (const std::string& text : {own + ", a text that is longer than others", own,
                                    std::string("ab"), std::string(), own + "!", std::string("a")})
        choices += (choices.empty() ? "\"" : ", \"") + text + "\"";
    return "motion = \"cycle\"\nchoices = [" + choices + "]" + period;
}

std::string startingValue(const ProgramTag& tag, int number, Random* random)
{
    if (isText(tag.type))
        return "value = \"" + tag.name + " starts in " + std::to_string(number) + "\"";
    return "value = \"" + valueToWrite(tag.type, random) + "\"";
}

} // namespace

const ProgramTag* Program::find(const std::string& name) const
{
    const auto found = std::find_if(tags.begin(), tags.end(),
                                    [&name](const ProgramTag& tag) { return tag.name == name; });
    return found != tags.end() ? &*found : nullptr;
}

namespace {

Program manyTypes(int station)
{
    constexpr int kArraysEvery = 3;
    constexpr int kLongArray = 150; // more than one read holds
    Program program;
    program.tags.push_back({kProgramTag, "UDINT", 0, true});
    int index = 0;
    for (const TypeRow& type : kNumbers) {
        const std::string name = type.name;
        program.tags.push_back({"One_" + name, name, 0, false});
        if (++index % kArraysEvery == station % kArraysEvery)
            program.tags.push_back({"Many_" + name, name, 3 + index, false});
        if (type.writable)
            program.tags.push_back({"Held_" + name, name, 0, true});
        if (type.writable && index % kArraysEvery == station % kArraysEvery)
            program.tags.push_back({"HeldMany_" + name, name, 4 + index, true});
    }
    for (const TypeRow& type : kTexts)
        program.tags.push_back({std::string("One_") + type.name, type.name, 0, false});
    program.tags.push_back({"Many_STRING", "STRING", 3, false});
    program.tags.push_back({"Held_STRING", "STRING", 0, true});
    program.tags.push_back({"ReadOnly_DINT", "DINT", 0, true, true});
    if (station % kArraysEvery == 0)
        program.tags.push_back({"Long_DINT", "DINT", kLongArray, false});
    return program;
}

Program manyOfOneType()
{
    constexpr int kMoving = 40;
    constexpr int kHeld = 12;
    Program program;
    program.tags.push_back({kProgramTag, "UDINT", 0, true});
    for (int i = 0; i < kMoving; ++i)
        program.tags.push_back({"Neighbour_" + std::to_string(i), "UDINT"});
    for (int i = 0; i < kHeld; ++i)
        program.tags.push_back({"Held_" + std::to_string(i), "UDINT", 0, true});
    return program;
}

} // namespace

Program programToWatch(int station)
{
    return station % 2 == 0 ? manyTypes(station) : manyOfOneType();
}

Program changedProgram(const Program& first, Random* random)
{
    Program changed;
    changed.tags.push_back(first.tags.front());
    for (std::size_t i = 1; i < first.tags.size(); ++i) {
        ProgramTag tag = first.tags[i];
        const int fate = randomBetween(random, 0, 99);
        if (fate < 10)
            continue; // this program does without it
        if (fate < 45)
            tag.type = anyType(random);
        if (fate >= 30 && fate < 60 && tag.size > 0)
            tag.size = randomBetween(random, 0, tag.size);
        changed.tags.push_back(tag);
    }
    return changed;
}

std::string tagFile(const Program& program, int number)
{
    Random random(static_cast<std::uint64_t>(number) * 7919);
    std::string text;
    for (const ProgramTag& tag : program.tags) {
        text += "[[tag]]\nname = \"" + tag.name + "\"\ntype = \"" + tag.type + "\"\n";
        if (tag.readOnly)
            text += "read_only = true\n";
        if (tag.size > 0)
            text += "size = " + std::to_string(tag.size) + "\n";
        if (tag.name == kProgramTag)
            text += "value = " + std::to_string(number) + "\n";
        else if (tag.held)
            text += startingValue(tag, number, &random) + "\n";
        else
            text += motion(tag, number, &random) + "\n";
    }
    return text;
}

std::string valueToWrite(const std::string& type, Random* random)
{
    if (isText(type))
        return "written " +
               std::string(static_cast<std::size_t>(randomBetween(random, 0, 30)), '.') +
               std::to_string((*random)() % 100000);
    const std::uint64_t number = (*random)();
    if (type == "REAL" || type == "LREAL")
        return std::to_string(number % 1000000) + ".25";
    const TypeRow& limits = row(type);
    const std::uint64_t highest = std::stoull(limits.max);
    return std::to_string(number % highest + (type == "BOOL" ? number >> 63U : 1));
}

bool isWritable(const std::string& type)
{
    return row(type).writable;
}

} // namespace truth
