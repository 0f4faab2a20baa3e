#include "station.h"

#include <cstdio>
#include <stdexcept>

namespace truth {
namespace {

constexpr int kOtherPrograms = 3;
constexpr std::uint64_t kMostComplaints = 10; // of one station
constexpr Stamp kClockRemainder = 300; // microseconds by which two clocks drift between comparisons

Stamp systemNow()
{
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

Stamp microseconds(Clock::time_point time)
{
    return std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch()).count();
}

std::vector<std::string> formatted(const panelhost::Snapshot& shown)
{
    std::vector<std::string> texts;
    texts.reserve(shown.values.size());
    for (const panelhost::Value& value : shown.values)
        texts.push_back(panelhost::formatValue(*shown.type, value));
    return texts;
}

} // namespace

void Counts::add(const Counts& other)
{
    looks += other.looks;
    values += other.values;
    wrong += other.wrong;
    tooOld += other.tooOld;
    writesConfirmed += other.writesConfirmed;
    writesFailed += other.writesFailed;
    writesWrong += other.writesWrong;
    types.insert(other.types.begin(), other.types.end());
}

void CommonClock::compare()
{
    constexpr Stamp kSet = 1000; // no clock drifts as far between two comparisons
    const Stamp before = microseconds(Clock::now());
    const Stamp system = systemNow();
    const Stamp after = microseconds(Clock::now());
    const Stamp offset = system - (before + after) / 2;
    if (after - before > kClockRemainder / 2)
        return; // interrupted between the two
    if (offset_ && std::abs(offset - *offset_) > kSet)
        throw std::runtime_error("the system's clock was set; histories tell nothing then");
    offset_ = offset;
}

Stamp CommonClock::stamp(Clock::time_point time) const
{
    return microseconds(time) + offset_.value();
}

StationUnderTest::StationUnderTest(int number, std::uint64_t seed,
                                   const std::vector<std::string>& simulatorOptions)
    : number_(number), name_("s" + std::to_string(number))
{
    Random random(seed * 1000 + static_cast<std::uint64_t>(number));
    programs_[0] = programToWatch(number);
    for (int i = 1; i <= kOtherPrograms; ++i)
        programs_[i] = changedProgram(programs_[0], &random);
    // The same types with other values, as after a restart.
    programs_[kOtherPrograms + 1] = programs_[0];
    for (const auto& [programNumber, program] : programs_) {
        files_.push_back(
            std::make_unique<e2e::TemporaryFile>(".toml", tagFile(program, programNumber)));
        if (programNumber > 0)
            otherFiles_.push_back(files_.back()->path());
    }
    history_ = std::make_unique<History>(programs_);
    std::vector<std::string> options = simulatorOptions;
    options.insert(options.end(),
                   {"--history", history_->path(), "--seed", std::to_string(random() % 1000000)});
    simulator_ = std::make_unique<e2e::Simulator>(files_.front()->path(), options);
}

void StationUnderTest::joinProject(panelhost::Project* project)
{
    panelhost::StationSettings station = panelhost::parseTarget(simulator_->address());
    station.name = name_;
    station.timeout = std::chrono::milliseconds(250);
    project->stations.push_back(station);
    staleAfter_ = project->cycle.staleAfter;
    const auto want = [&](const ProgramTag& tag, const std::string& text) {
        panelhost::ProjectTag wanted;
        wanted.station = number_;
        wanted.reference = panelhost::parseTagReference(text);
        Watched watched;
        watched.index = project->tags.size();
        watched.reference = wanted.reference;
        if (tag.held && tag.name != kProgramTag && isWritable(tag.type))
            writable_.push_back(watched_.size());
        project->tags.push_back(wanted);
        watched_.push_back(watched);
    };
    for (const ProgramTag& tag : programs_[0].tags) {
        if (tag.size == 0) {
            want(tag, tag.name);
        } else if (tag.type == "STRING") {
            want(tag, tag.name + "[0]"); // no other element can be read
        } else {
            const std::string last = std::to_string(tag.size - 1);
            want(tag, tag.name + "[0.." + last + "]");
            want(tag, tag.name + "[" + last + "]");
            want(tag, tag.name + "[1]");
        }
    }
}

void StationUnderTest::begin(const Fault& fault)
{
    fault_ = fault.kind;
    changed_ = fault.downloads;
    for (const std::string& command : fault.commands) {
        fault_ += " | " + command;
        const std::string answer = simulator_->command(command);
        if (answer.empty() || answer.rfind("error", 0) == 0)
            throw std::runtime_error(name_ + ": " + command + ": " + answer);
    }
}

void StationUnderTest::end()
{
    if (changed_)
        simulator_->command("download " + files_.front()->path());
    changed_ = false;
    simulator_->command("fault clear");
}

bool StationUnderTest::look(const panelhost::Host& host, const CommonClock& clock,
                            Clock::time_point since)
{
    bool allGood = true;
    for (Watched& watched : watched_) {
        const panelhost::Snapshot shown = host.snapshot(watched.index);
        const Clock::time_point now = Clock::now();
        ++counts_.looks;
        if (shown.quality == panelhost::Quality::Good)
            note(&watched, shown, clock, now);
        allGood = allGood && shown.quality == panelhost::Quality::Good && shown.asOf >= since;
    }
    return allGood;
}

/// Later looks at a value that was not read again claim less than the first did, so only its age is
/// of interest then.
void StationUnderTest::note(Watched* watched, const panelhost::Snapshot& shown,
                            const CommonClock& clock, Clock::time_point now)
{
    if (now - shown.asOf > staleAfter_ + std::chrono::milliseconds(100)) {
        ++counts_.tooOld;
        complain(watched->reference.text() + " was called good when too old");
    }
    std::vector<std::string> values = formatted(shown);
    if (shown.asOf == watched->lastRead && values == watched->lastShown)
        return;
    watched->lastRead = shown.asOf;
    watched->lastShown = values;
    Claim claim;
    claim.tag = watched->reference.name;
    claim.first = watched->reference.first;
    claim.type = shown.type->name;
    claim.values = std::move(values);
    claim.from = clock.stamp(shown.asOf) - kClockRemainder;
    claim.until = clock.stamp(now) + kClockRemainder;
    claims_.push_back(std::move(claim));
}

std::string StationUnderTest::complaints(const panelhost::Host& host) const
{
    std::string text;
    int more = 0;
    for (const Watched& watched : watched_) {
        const panelhost::Snapshot shown = host.snapshot(watched.index);
        if (shown.quality == panelhost::Quality::Good)
            continue;
        if (text.size() < 400)
            text += " " + watched.reference.text() + ": " + shown.reason + ";";
        else
            ++more;
    }
    return text + (more > 0 ? " and " + std::to_string(more) + " more" : "");
}

void StationUnderTest::write(panelhost::Host* host, Random* random, const CommonClock& clock)
{
    if (write_)
        return;
    const int last = static_cast<int>(writable_.size()) - 1;
    const Watched& watched =
        watched_[writable_[static_cast<std::size_t>(randomBetween(random, 0, last))]];
    const panelhost::Snapshot shown = host->snapshot(watched.index);
    if (shown.type == nullptr || !shown.type->writable() || shown.values.empty())
        return;
    std::vector<panelhost::Value> values;
    WriteUnderWay write;
    for (int i = 0; i < watched.reference.count; ++i) {
        values.push_back(parseValue(*shown.type, valueToWrite(shown.type->name, random)));
        write.wanted.values.push_back(formatValue(*shown.type, values.back()));
    }
    write.wanted.tag = watched.reference.name;
    write.wanted.first = watched.reference.first;
    write.wanted.type = shown.type->name;
    write.wanted.from = clock.stamp(Clock::now()) - kClockRemainder;
    write.outcome = host->write(watched.index, values);
    write_ = std::move(write);
}

void StationUnderTest::collectWrite(const CommonClock& clock)
{
    if (!write_ || write_->outcome.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
        return;
    const panelhost::WriteOutcome outcome = write_->outcome.get();
    WriteClaim claim{std::move(write_->wanted), outcome.reason};
    claim.wanted.until = clock.stamp(Clock::now()) + kClockRemainder;
    outcome.done ? ++counts_.writesConfirmed : ++counts_.writesFailed;
    writeClaims_.push_back(std::move(claim));
    write_.reset();
}

void StationUnderTest::judge()
{
    history_->update();
    for (; !claims_.empty() && claims_.front().until < history_->knownUntil(); claims_.pop_front())
        judge(claims_.front());
    for (; !writeClaims_.empty() && writeClaims_.front().wanted.until < history_->knownUntil();
         writeClaims_.pop_front())
        judge(writeClaims_.front());
}

void StationUnderTest::finish()
{
    simulator_->command("quit"); // returns when the process has ended, its history complete
    history_->update();
    for (; !claims_.empty(); claims_.pop_front())
        judge(claims_.front());
    for (; !writeClaims_.empty(); writeClaims_.pop_front())
        judge(writeClaims_.front());
}

void StationUnderTest::judge(const Claim& claim)
{
    for (std::size_t i = 0; i < claim.values.size(); ++i) {
        const int element = claim.first + static_cast<int>(i);
        ++counts_.values;
        if (history_->held(claim.tag, element, claim.type, claim.values[i], claim.from,
                           claim.until))
            continue;
        if (++counts_.wrong > kMostComplaints)
            continue;
        complain(claim.tag + "[" + std::to_string(element) + "] was called good as " + claim.type +
                 " " + claim.values[i] + " (0.." +
                 std::to_string((claim.until - claim.from) / 1000) + " ms); " +
                 history_->describe(claim.tag, element, claim.from, claim.until));
    }
    counts_.types.insert(claim.type);
}

/// The host says one of three things: written; not written; may or may not have arrived.
void StationUnderTest::judge(const WriteClaim& claim)
{
    const Claim& wanted = claim.wanted;
    const bool confirmed = claim.reason.empty();
    const bool denied = claim.reason.rfind("not written", 0) == 0;
    bool all = true;
    bool none = true;
    for (std::size_t i = 0; i < wanted.values.size(); ++i) {
        const bool done = history_->written(wanted.tag, wanted.first + static_cast<int>(i),
                                            wanted.values[i], wanted.from, wanted.until);
        all = all && done;
        none = none && !done;
    }
    if ((confirmed && !all) || (denied && !none)) {
        ++counts_.writesWrong;
        complain("write to " + wanted.tag + (confirmed ? " confirmed but not done" : "") +
                 (denied ? " done, though said: " + claim.reason : ""));
    }
}

void StationUnderTest::complain(const std::string& what)
{
    if (counts_.wrong + counts_.tooOld + counts_.writesWrong <= kMostComplaints)
        std::fprintf(stderr, "%s: %s (last fault: %s)\n", name_.c_str(), what.c_str(),
                     fault_.c_str());
}

} // namespace truth
