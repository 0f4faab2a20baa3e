// The programs that the simulated controllers run: one to watch, and others that are downloaded over
// it, with the same tag names but other types, sizes and values.

#ifndef TESTS_TRUTH_PROGRAM_H
#define TESTS_TRUTH_PROGRAM_H

#include <map>
#include <random>
#include <string>
#include <vector>

namespace truth {

using Random = std::mt19937_64;

inline int randomBetween(Random* random, int lowest, int highest)
{
    return std::uniform_int_distribution<int>(lowest, highest)(*random);
}

struct ProgramTag {
    std::string name;
    std::string type;
    int size = 0;      ///< of an array; 0 for a single value
    bool held = false; ///< keeps what is written to it; the others move by themselves
    bool readOnly = false;
};

struct Program {
    std::vector<ProgramTag> tags;

    const ProgramTag* find(const std::string& name) const;
};

/// The first tag of every program; its value is the program's number, so that a history tells where
/// one program ends and the next begins.
extern const char* const kProgramTag;

/// The program that a station is watched with. Of even stations: every elementary type as a single
/// value that moves, arrays of a third of them, and values of all writable types that are held. Of odd
/// ones: tags of one type, where an answer for another tag differs in nothing but its value.
Program programToWatch(int station);

/// Another program with most of the names of the first.
Program changedProgram(const Program& first, Random* random);

/// A tag file for it. The values depend on the number.
std::string tagFile(const Program& program, int number);

/// A value for writing, as people write it; no two are the same for the types that have room.
std::string valueToWrite(const std::string& type, Random* random);

/// Whether a panel can write the type.
bool isWritable(const std::string& type);

} // namespace truth

#endif // TESTS_TRUTH_PROGRAM_H
