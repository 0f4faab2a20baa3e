#include "commands.h"

#include "tag_reference.h"

#include <algorithm>
#include <cctype>
#include <utility>

namespace plcsim {

namespace {

/// Splits at blanks, but not within a text in double quotes.
std::vector<std::string> splitWords(std::string_view line)
{
    std::vector<std::string> words;
    bool inWord = false;
    bool inText = false;
    bool escaped = false;
    for (const char c : line) {
        if (!inText && std::isspace(static_cast<unsigned char>(c))) {
            inWord = false;
            continue;
        }
        if (!inWord)
            words.emplace_back();
        inWord = true;
        words.back() += c;
        if (c == '"' && !escaped)
            inText = !inText;
        escaped = inText && c == '\\' && !escaped;
    }
    return words;
}

/// A word that may stand in double quotes, as a path with blanks does.
std::string unquoted(const std::string& word)
{
    const bool quoted = word.size() >= 2 && word.front() == '"' && word.back() == '"';
    return quoted ? word.substr(1, word.size() - 2) : word;
}

void expectWords(const std::vector<std::string>& words, std::size_t count, const char* usage)
{
    if (words.size() != count)
        throw std::invalid_argument("usage: " + std::string(usage));
}

std::string shown(const TagReference& reference)
{
    std::string line = reference.text + " =";
    for (std::size_t i = 0; i < reference.count; ++i)
        line += " " + formatValue(reference.tag->type(), reference.tag->value(reference.first + i));
    return line;
}

std::string helpLine(std::string usage, const char* purpose)
{
    constexpr std::size_t kPurposeColumn = 30;
    usage.resize(std::max(usage.size(), kPurposeColumn), ' ');
    return usage + " " + purpose;
}

Value parseFor(const Tag& tag, const std::string& word)
{
    Value value = parseValue(tag.type(), word);
    const auto* text = std::get_if<std::string>(&value);
    if (text && text->size() > tag.definition().maxLength)
        throw ValueError("the text has " + std::to_string(text->size()) + " characters, " +
                         tag.name() + " holds " + std::to_string(tag.definition().maxLength));
    return value;
}

} // namespace

Commands::Commands(Controller& controller, Faults& faults, Surroundings surroundings)
    : controller_(controller), faults_(faults), surroundings_(std::move(surroundings))
{
}

const std::vector<Commands::Entry>& Commands::entries()
{
    static const std::vector<Entry> all = {
        {"get", "get TAG", "shows a tag, an element (TAG[3]) or a range (TAG[2..4])",
         &Commands::get},
        {"set", "set TAG VALUE...", "writes and holds a value, or one per element of a range",
         &Commands::set},
        {"release", "release TAG", "lets a moving tag that was written move again",
         &Commands::release},
        {"tags", "tags", "lists the tags with type and size", &Commands::listTags},
        {"status", "status", "counts links, sessions, connections, requests and replies",
         &Commands::status},
        {"download", "download FILE", "replaces all tags by those of another tag file",
         &Commands::download},
        {"fault", "fault KIND ...", "makes something go wrong; fault list, fault clear",
         &Commands::fault},
        {"help", "help", "shows this list", &Commands::help},
        {"quit", "quit", "ends the simulator", &Commands::quit},
    };
    return all;
}

std::vector<std::string> Commands::execute(std::string_view line)
{
    const Words words = splitWords(line);
    if (words.empty())
        return {};
    try {
        for (const Entry& entry : entries())
            if (words[0] == entry.name)
                return (this->*entry.run)(words);
        throw std::invalid_argument("unknown command \"" + words[0] + "\"; help lists them");
    } catch (const std::exception& error) {
        return {std::string("error: ") + error.what()};
    }
}

Commands::Lines Commands::get(const Words& words)
{
    expectWords(words, 2, "get TAG");
    return {"get " + shown(resolve(controller_.tags(), words[1]))};
}

Commands::Lines Commands::set(const Words& words)
{
    if (words.size() < 3)
        throw std::invalid_argument("usage: set TAG VALUE...");
    const TagReference reference = resolve(controller_.tags(), words[1]);
    const std::size_t given = words.size() - 2;
    if (given != 1 && given != reference.count)
        throw std::invalid_argument(std::to_string(given) + " values for " +
                                    std::to_string(reference.count) + " elements");
    std::vector<Value> values;
    for (std::size_t i = 0; i < given; ++i)
        values.push_back(parseFor(*reference.tag, words[2 + i]));
    for (std::size_t i = 0; i < reference.count; ++i)
        controller_.tags().write(*reference.tag, reference.first + i, values[given == 1 ? 0 : i],
                                 ChangeCause::Operator);
    return {"set " + shown(reference)};
}

Commands::Lines Commands::release(const Words& words)
{
    expectWords(words, 2, "release TAG");
    const TagReference reference = resolve(controller_.tags(), words[1]);
    reference.tag->release();
    return {"release " + reference.tag->name()};
}

Commands::Lines Commands::listTags(const Words& words)
{
    expectWords(words, 1, "tags");
    Lines lines = {"tags " + std::to_string(controller_.tags().tags().size())};
    for (const Tag& tag : controller_.tags().tags())
        lines.push_back(tag.name() + " " + tag.type().name + " " +
                        (tag.isArray() ? std::to_string(tag.size()) : "single") +
                        (tag.definition().readOnly ? " read-only" : ""));
    return lines;
}

Commands::Lines Commands::status(const Words& words)
{
    expectWords(words, 1, "status");
    const Counters& counters = controller_.counters();
    const auto item = [](const char* name, std::uint64_t count) {
        return " " + std::string(name) + " " + std::to_string(count);
    };
    return {"status" + item("links", surroundings_.linkCount()) +
            item("sessions", controller_.sessionCount()) +
            item("connections", controller_.connectionCount()) +
            item("requests", counters.requests) + item("replies", counters.replies) +
            item("refusals", counters.refusals) + item("duplicates", counters.duplicates) +
            item("unanswered", counters.unanswered) + item("expired", counters.expired) +
            item("faults", faults_.list().size())};
}

Commands::Lines Commands::download(const Words& words)
{
    expectWords(words, 2, "download FILE");
    const std::string path = unquoted(words[1]);
    controller_.download(loadTagFile(path), Clock::now());
    return {"download " + path + ": " + std::to_string(controller_.tags().tags().size()) + " tags"};
}

Commands::Lines Commands::fault(const Words& words)
{
    if (words.size() == 2 && words[1] == "clear") {
        faults_.clear();
        return {"fault clear"};
    }
    if (words.size() == 2 && words[1] == "list") {
        Lines lines = {"faults " + std::to_string(faults_.list().size())};
        for (const std::string& text : faults_.list())
            lines.push_back(text);
        return lines;
    }
    const Words order(words.begin() + 1, words.end());
    faults_.add(order);
    std::string line = "fault";
    for (const std::string& word : order)
        line += " " + word;
    return {line};
}

Commands::Lines Commands::help(const Words& words)
{
    expectWords(words, 1, "help");
    Lines lines;
    for (const Entry& entry : entries())
        lines.push_back(helpLine(entry.usage, entry.purpose));
    lines.push_back(
        "Kinds of fault, each with [on session|open|data] [for SECONDS] [times N] [chance P]:");
    for (const FaultUsage& usage : faultUsages())
        lines.push_back("  " + helpLine(usage.usage, usage.purpose));
    return lines;
}

Commands::Lines Commands::quit(const Words& words)
{
    expectWords(words, 1, "quit");
    surroundings_.quit();
    return {};
}

} // namespace plcsim
