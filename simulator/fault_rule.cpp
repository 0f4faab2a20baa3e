#include "fault_rule.h"

#include "cip_message.h"

#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace plcsim {

namespace {

/// A figure behind the name of a fault.
struct Figure {
    std::int64_t min;
    std::int64_t max;
    std::optional<std::int64_t> fallback; ///< none if the figure has to be given
};

constexpr std::int64_t kLongestWait = 3600 * 1000; // milliseconds
constexpr std::int64_t kMostBytes = 4096;

struct Kind {
    const char* name;
    FaultKind kind;
    const char* usage;
    const char* purpose;
    std::vector<Figure> figures;
};

const std::vector<Kind>& kinds()
{
    static const std::vector<Kind> all = {
        {"silence", FaultKind::Silence, "silence [SECONDS]", "ignores requests", {}},
        {"lost-answer",
         FaultKind::LostAnswer,
         "lost-answer",
         "serves requests and sends no answer",
         {}},
        {"delay", FaultKind::Delay, "delay MS", "answers that much later", {{0, kLongestWait, {}}}},
        {"status",
         FaultKind::Status,
         "status CODE [EXTENDED] [TAG]",
         "refuses requests for the tag, or for all, with a CIP status",
         {{1, 0xFF, {}}, {0, 0xFFFF, -1}}},
        {"refuse-open",
         FaultKind::RefuseOpen,
         "refuse-open [EXTENDED]",
         "refuses Forward Opens with 0x01 and an extended status (0x0113)",
         {{0, 0xFFFF, extended::kOutOfConnections}}},
        {"refuse-session",
         FaultKind::RefuseSession,
         "refuse-session [STATUS]",
         "refuses RegisterSession with an encapsulation status (0x02)",
         {{1, 0xFFFFFFFF, encap_status::kNoMemory}}},
        {"encap-status",
         FaultKind::EncapsulationStatus,
         "encap-status STATUS",
         "answers with an encapsulation status and no data",
         {{1, 0xFFFFFFFF, {}}}},
        {"wrong-length",
         FaultKind::WrongLength,
         "wrong-length BYTES",
         "makes answers longer, or shorter if negative",
         {{-kMostBytes, kMostBytes, {}}}},
        {"wrong-header",
         FaultKind::WrongHeaderLength,
         "wrong-header BYTES",
         "makes the length field of answers wrong by so much",
         {{-kMostBytes, kMostBytes, {}}}},
        {"wrong",
         FaultKind::WrongField,
         "wrong FIELD",
         "falsifies session, context, connection, sequence or service",
         {}},
        {"half-frame", FaultKind::HalfFrame, "half-frame", "ends the link within an answer", {}},
        {"split",
         FaultKind::Split,
         "split MS",
         "sends the second half of answers later",
         {{0, kLongestWait, {}}}},
        {"garbage",
         FaultKind::Garbage,
         "garbage [BYTES]",
         "sends random bytes (64) instead of answers",
         {{1, kMostBytes, 64}}},
        {"late-duplicate",
         FaultKind::LateDuplicate,
         "late-duplicate MS",
         "sends answers once more, later",
         {{0, kLongestWait, {}}}},
        {"drop-link",
         FaultKind::DropLink,
         "drop-link",
         "closes all TCP links; with a condition, the one of the request",
         {}},
        {"drop-connections",
         FaultKind::DropConnections,
         "drop-connections",
         "forgets all CIP connections",
         {}},
        {"drop-sessions",
         FaultKind::DropSessions,
         "drop-sessions",
         "forgets all sessions and connections",
         {}},
        {"offline",
         FaultKind::Offline,
         "offline SECONDS",
         "closes all links and refuses new ones for a time",
         {{1, kLongestWait / 1000, {}}}},
    };
    return all;
}

[[noreturn]] void refuse(const Kind& kind, const std::string& why)
{
    throw std::invalid_argument(why + "; usage: fault " + kind.usage +
                                " [on session|open|data] [for SECONDS] [times N] [chance P]");
}

/// A decimal or 0x number, or nothing.
std::optional<std::int64_t> parseNumber(const std::string& word)
{
    const bool hex = word.compare(0, 2, "0x") == 0;
    const char* begin = word.data() + (hex ? 2 : 0);
    const char* end = word.data() + word.size();
    std::int64_t number = 0;
    const auto result = std::from_chars(begin, end, number, hex ? 16 : 10);
    if (result.ec != std::errc() || result.ptr != end)
        return std::nullopt;
    return number;
}

std::optional<double> parsePositive(const std::string& word)
{
    double number = 0;
    const char* end = word.data() + word.size();
    const auto result = std::from_chars(word.data(), end, number);
    if (result.ec != std::errc() || result.ptr != end || !std::isfinite(number) || number <= 0)
        return std::nullopt;
    return number;
}

/// Reads the words of one fault from left to right.
class Parser {
public:
    Parser(const Kind& kind, const std::vector<std::string>& words) : kind_(kind), words_(words)
    {
        rule_.kind = kind.kind;
        for (const std::string& word : words)
            rule_.text += (rule_.text.empty() ? "" : " ") + word;
    }

    FaultRule parse()
    {
        for (const Figure& figure : kind_.figures)
            readFigure(figure);
        if (kind_.kind == FaultKind::WrongField)
            readField();
        if (kind_.kind == FaultKind::Silence && more() && parsePositive(peek()))
            rule_.lasting = readSeconds();
        if (kind_.kind == FaultKind::Status && more() && !isCondition(peek()))
            rule_.tag = take();
        while (more())
            readCondition();
        return rule_;
    }

private:
    bool more() const { return at_ < words_.size(); }
    const std::string& peek() const { return words_[at_]; }
    const std::string& take()
    {
        if (!more())
            refuse(kind_, "something is missing");
        return words_[at_++];
    }

    static bool isCondition(const std::string& word)
    {
        return word == "on" || word == "for" || word == "times" || word == "chance";
    }

    void readFigure(const Figure& figure)
    {
        const auto number = more() ? parseNumber(peek()) : std::nullopt;
        if (!number && figure.fallback) {
            rule_.figures.push_back(*figure.fallback);
            return;
        }
        if (!number)
            refuse(kind_, more() ? "\"" + peek() + "\" is not a number" : "a number is missing");
        if (*number < figure.min || *number > figure.max)
            refuse(kind_, peek() + " is not within " + std::to_string(figure.min) + ".." +
                              std::to_string(figure.max));
        rule_.figures.push_back(*number);
        ++at_;
    }

    void readField()
    {
        struct Named {
            const char* name;
            FaultField field;
        };
        constexpr std::array kFields = {
            Named{"session", FaultField::Session},       Named{"context", FaultField::Context},
            Named{"connection", FaultField::Connection}, Named{"sequence", FaultField::Sequence},
            Named{"service", FaultField::Service},
        };
        const std::string& word = take();
        for (const Named& named : kFields)
            if (word == named.name) {
                rule_.field = named.field;
                return;
            }
        refuse(kind_, "no field \"" + word + "\"");
    }

    Duration readSeconds()
    {
        const std::string& word = take();
        const auto seconds = parsePositive(word);
        if (!seconds || *seconds > 1e6)
            refuse(kind_, "\"" + word + "\" is not a number of seconds");
        return fromSeconds(*seconds);
    }

    void readCondition()
    {
        const std::string word = take();
        if (word == "on")
            rule_.phase = readPhase();
        else if (word == "for")
            rule_.lasting = readSeconds();
        else if (word == "times")
            rule_.times = readTimes();
        else if (word == "chance")
            rule_.chance = readChance();
        else
            refuse(kind_, "\"" + word + "\" makes no sense here");
    }

    FaultPhase readPhase()
    {
        const std::string& word = take();
        if (word == "session")
            return FaultPhase::Session;
        if (word == "open")
            return FaultPhase::Open;
        if (word != "data")
            refuse(kind_, "\"" + word + "\" is neither session nor open nor data");
        return FaultPhase::Data;
    }

    std::uint64_t readTimes()
    {
        const std::string& word = take();
        const auto times = parseNumber(word);
        if (!times || *times < 1)
            refuse(kind_, "\"" + word + "\" is not a number of times");
        return static_cast<std::uint64_t>(*times);
    }

    double readChance()
    {
        const std::string& word = take();
        const auto chance = parsePositive(word);
        if (!chance || *chance > 1)
            refuse(kind_, "a chance is above 0 and at most 1");
        return *chance;
    }

    const Kind& kind_;
    const std::vector<std::string>& words_;
    std::size_t at_ = 1;
    FaultRule rule_;
};

} // namespace

FaultRule parseFault(const std::vector<std::string>& words)
{
    std::string known;
    for (const Kind& kind : kinds()) {
        if (!words.empty() && words[0] == kind.name)
            return Parser(kind, words).parse();
        known += (known.empty() ? "" : ", ") + std::string(kind.name);
    }
    throw std::invalid_argument(
        (words.empty() ? "no kind of fault" : "unknown fault \"" + words[0] + "\"") +
        " (known: " + known + ")");
}

const std::vector<FaultUsage>& faultUsages()
{
    static const std::vector<FaultUsage> all = [] {
        std::vector<FaultUsage> usages;
        for (const Kind& kind : kinds())
            usages.push_back({kind.usage, kind.purpose});
        return usages;
    }();
    return all;
}

FaultPhase phaseOf(const Frame& request)
{
    if (request.command == command::kRegisterSession)
        return FaultPhase::Session;
    if (request.command != command::kSendRrData)
        return FaultPhase::Data;
    const std::optional<CommonPacket> packet = decodeCommonPacket(request.data);
    const bool opens =
        packet && !packet->data.empty() &&
        (packet->data[0] == service::kForwardOpen || packet->data[0] == service::kLargeForwardOpen);
    return opens ? FaultPhase::Open : FaultPhase::Data;
}

} // namespace plcsim
