#include "fault_deck.h"

#include <algorithm>
#include <functional>
#include <numeric>

namespace truth {
namespace {

/// What a fault is made from.
struct Setting {
    Random* random;
    const Program& program;
    const std::vector<std::string>& otherPrograms;

    std::string number(int lowest, int highest) const
    {
        return std::to_string(randomBetween(random, lowest, highest));
    }
    std::string oneOf(const std::vector<std::string>& words) const
    {
        return words[static_cast<std::size_t>(
            randomBetween(random, 0, static_cast<int>(words.size()) - 1))];
    }
    std::string tag() const
    {
        const int last = static_cast<int>(program.tags.size()) - 1;
        return program.tags[static_cast<std::size_t>(randomBetween(random, 0, last))].name;
    }
};

using Commands = std::vector<std::string>;

struct Card {
    const char* kind;
    int shortest; ///< milliseconds
    int longest;
    std::function<Commands(const Setting&)> commands;
};

const std::vector<Card>& cards()
{
    static const std::vector<Card> all = {
        {"silence", 200, 2500, [](const Setting&) { return Commands{"fault silence"}; }},
        {"silence of one stage", 300, 2500,
         [](const Setting& s) {
             return Commands{"fault drop-link",
                             "fault silence on " + s.oneOf({"session", "open", "data"})};
         }},
        {"lost answers", 200, 1500,
         [](const Setting& s) { return Commands{"fault lost-answer chance 0." + s.number(1, 9)}; }},
        {"late answers", 300, 2500,
         [](const Setting& s) {
             return Commands{"fault delay " + s.number(5, 700) + " chance 0." + s.number(1, 9)};
         }},
        {"late duplicates", 300, 2500,
         [](const Setting& s) {
             return Commands{"fault late-duplicate " + s.number(0, 600) + " chance 0." +
                             s.number(1, 9)};
         }},
        {"late answers and duplicates", 500, 2500,
         [](const Setting& s) {
             return Commands{"fault late-duplicate " + s.number(0, 10) + " chance 0." +
                                 s.number(1, 9),
                             "fault delay " + s.number(200, 400) + " chance 0.05"};
         }},
        {"status of a tag", 300, 2500,
         [](const Setting& s) {
             return Commands{"fault status " +
                             s.oneOf({"0x05", "0x04", "0x0F", "0x02", "0x10", "0x1E", "0xFF 0x2105",
                                      "0xFF 0x2107"}) +
                             " " + s.tag()};
         }},
        {"status of all tags", 100, 1500,
         [](const Setting& s) {
             return Commands{"fault status " + s.oneOf({"0x05", "0x08", "0x10", "0xFF 0x2105"}) +
                             " chance 0." + s.number(1, 9)};
         }},
        {"encapsulation status", 100, 1000,
         [](const Setting& s) {
             return Commands{"fault encap-status " + s.oneOf({"0x01", "0x03", "0x64", "0x65"}) +
                             " chance 0." + s.number(1, 9)};
         }},
        {"wrong length", 200, 1500,
         [](const Setting& s) {
             return Commands{"fault wrong-length " + s.oneOf({"-", ""}) + s.number(1, 30) +
                             " chance 0." + s.number(1, 9)};
         }},
        {"wrong header length", 200, 1500,
         [](const Setting& s) {
             return Commands{"fault wrong-header " + s.oneOf({"-", ""}) + s.number(1, 30) +
                             " chance 0." + s.number(1, 9)};
         }},
        {"wrong field", 200, 1500,
         [](const Setting& s) {
             return Commands{"fault wrong " +
                             s.oneOf({"session", "context", "connection", "sequence", "service"}) +
                             " chance 0." + s.number(1, 9)};
         }},
        {"half frames", 100, 1500,
         [](const Setting& s) { return Commands{"fault half-frame chance 0.0" + s.number(1, 9)}; }},
        {"frames in two parts", 200, 2500,
         [](const Setting& s) {
             return Commands{"fault split " + s.number(1, 100) + " chance 0." + s.number(1, 9)};
         }},
        {"garbage", 100, 1500,
         [](const Setting& s) {
             return Commands{"fault garbage " + s.number(1, 600) + " chance 0.0" + s.number(1, 9)};
         }},
        {"refused sessions", 200, 2500,
         [](const Setting&) {
             return Commands{"fault drop-link", "fault refuse-session"};
         }},
        {"refused opens", 200, 2500,
         [](const Setting& s) {
             return Commands{"fault drop-link",
                             "fault refuse-open " + s.oneOf({"0x0113", "0x0100", "0x0106"})};
         }},
        {"dropped link", 50, 50, [](const Setting&) { return Commands{"fault drop-link"}; }},
        {"dropped links", 200, 2000,
         [](const Setting& s) { return Commands{"fault drop-link chance 0.0" + s.number(1, 9)}; }},
        {"dropped connections", 50, 50,
         [](const Setting&) { return Commands{"fault drop-connections"}; }},
        {"dropped sessions", 50, 50,
         [](const Setting&) { return Commands{"fault drop-sessions"}; }},
        {"offline", 500, 2500, [](const Setting&) { return Commands{"fault offline 10"}; }},
        {"download of another program", 300, 4000,
         [](const Setting& s) { return Commands{"download " + s.oneOf(s.otherPrograms)}; }},
        {"download during silence", 300, 2000,
         [](const Setting& s) {
             return Commands{"fault silence 0." + s.number(1, 4),
                             "download " + s.oneOf(s.otherPrograms)};
         }},
        {"download and dropped link", 300, 4000,
         [](const Setting& s) {
             return Commands{"download " + s.oneOf(s.otherPrograms), "fault drop-link"};
         }},
    };
    return all;
}

bool isDownload(const std::string& command)
{
    return command.rfind("download", 0) == 0;
}

} // namespace

Fault FaultDeck::deal(const Program& program, const std::vector<std::string>& otherPrograms)
{
    if (left_.empty()) {
        left_.resize(cards().size());
        std::iota(left_.begin(), left_.end(), std::size_t{0});
        std::shuffle(left_.begin(), left_.end(), *random_);
    }
    const Card& card = cards()[left_.back()];
    left_.pop_back();
    Fault fault;
    fault.kind = card.kind;
    fault.commands = card.commands({random_, program, otherPrograms});
    fault.lasting = std::chrono::milliseconds(randomBetween(random_, card.shortest, card.longest));
    fault.downloads = std::any_of(fault.commands.begin(), fault.commands.end(), isDownload);
    return fault;
}

std::vector<std::string> FaultDeck::kinds()
{
    std::vector<std::string> names;
    for (const Card& card : cards())
        names.emplace_back(card.kind);
    return names;
}

} // namespace truth
