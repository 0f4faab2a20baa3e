#include "trial.h"

#include <algorithm>
#include <cstdio>
#include <limits>
#include <stdexcept>
#include <thread>

namespace truth {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kBetweenLooks(20);
constexpr std::size_t kWriteEvery = 20; // looks, so that scans for the sake of writes are regular
constexpr double kLeastPace = 0.9;
constexpr double kLeastSecondsForPace = 3; // fewer tell nothing

double inMilliseconds(Clock::duration duration)
{
    return std::chrono::duration<double, std::milli>(duration).count();
}

Clock::duration fromSeconds(double seconds)
{
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
}

} // namespace

Trial::Trial(const TrialOptions& options)
    : options_(options), random_(options.seed), deck_(&random_)
{
    project_.cycle.scanInterval = milliseconds(200);
    project_.cycle.refusedRetry = milliseconds(1000);
    project_.cycle.staleAfter = milliseconds(2000);
    project_.sharedCycle = options.sharedCycle;
    for (int i = 0; i < options.stations; ++i) {
        Course course;
        course.station = std::make_unique<StationUnderTest>(
            i, options.seed, std::vector<std::string>{"--response-time", "1"});
        course.station->joinProject(&project_);
        courses_.push_back(std::move(course));
    }
    host_ = std::make_unique<panelhost::Host>(project_, options.library, nullptr);
}

bool Trial::run()
{
    std::printf("truth: seed %llu, %d stations, %zu tags, %.0f s of faults\n",
                static_cast<unsigned long long>(options_.seed), options_.stations,
                project_.tags.size(), options_.seconds);
    host_->start();
    waitUntilAllAreGood();
    for (const auto end = Clock::now() + fromSeconds(options_.calmSeconds); Clock::now() < end;)
        pass(&Course::before);
    const auto end = Clock::now() + fromSeconds(options_.seconds);
    for (bool faultsGoOn = true; faultsGoOn || !allCalm(); faultsGoOn = Clock::now() < end) {
        pass(&Course::during);
        for (Course& course : courses_)
            advance(&course, Clock::now(), faultsGoOn);
    }
    host_->stop();
    for (Course& course : courses_) {
        course.station->collectWrite(clock_);
        course.station->finish();
    }
    const Counts all = total();
    const double worstPace = reportPaces();
    report(all, worstPace, reportFaults());
    judge(all, worstPace);
    return mistakes_ == 0;
}

void Trial::waitUntilAllAreGood()
{
    const Clock::time_point start = Clock::now();
    constexpr std::chrono::seconds kPatience(30);
    clock_.compare();
    for (Course& course : courses_) {
        while (!course.station->look(*host_, clock_, start)) {
            if (Clock::now() > start + kPatience)
                throw std::runtime_error("never all good:" + course.station->complaints(*host_));
            std::this_thread::sleep_for(kBetweenLooks);
        }
    }
}

/// Looks at everything once, writes here and there, and judges what can be judged.
void Trial::pass(Pace Course::*pace)
{
    const Clock::time_point next = Clock::now() + kBetweenLooks;
    clock_.compare();
    for (std::size_t i = 0; i < courses_.size(); ++i) {
        Course& course = courses_[i];
        const bool allGood = course.station->look(*host_, clock_, course.faultEnded);
        const Clock::time_point now = Clock::now();
        if (course.state == State::Recovering && allGood)
            recovered(&course, now);
        (course.*pace).see(host_->statistics(i).scans, now, course.state == State::Calm);
        course.station->collectWrite(clock_);
        if (passes_ % kWriteEvery == i % kWriteEvery)
            course.station->write(host_.get(), &random_, clock_);
        course.station->judge();
    }
    ++passes_;
    std::this_thread::sleep_until(next);
}

void Trial::advance(Course* course, Clock::time_point now, bool faultsGoOn)
{
    switch (course->state) {
    case State::Calm:
        if (faultsGoOn && now >= course->until && underFault() < options_.faultsAtATime)
            beginFault(course, now);
        break;
    case State::Faulty:
        if (now < course->until)
            break;
        course->station->end();
        course->faultEnded = Clock::now();
        course->state = State::Recovering;
        break;
    case State::Recovering:
        if (now - course->faultEnded > promised(*course)) {
            mistake(course->station->name() + " was not all good again after " +
                    course->fault.kind + ":" + course->station->complaints(*host_));
            recovered(course, now);
        }
        break;
    }
}

void Trial::beginFault(Course* course, Clock::time_point now)
{
    course->fault = course->station->deal(&deck_);
    ++faults_[course->fault.kind];
    course->station->begin(course->fault);
    course->state = State::Faulty;
    course->until = now + course->fault.lasting;
    if (options_.verbose)
        std::printf("%s: %s, %.1f s\n", course->station->name().c_str(),
                    course->fault.commands.back().c_str(),
                    inMilliseconds(course->fault.lasting) / 1000);
}

void Trial::recovered(Course* course, Clock::time_point now)
{
    const Clock::duration took = now - course->faultEnded;
    if (took > longestRecovery_) {
        longestRecovery_ = took;
        longestRecoveryKind_ = course->fault.kind;
    }
    course->state = State::Calm;
    course->until = now + milliseconds(randomBetween(&random_, 200, 3000));
}

int Trial::underFault() const
{
    return static_cast<int>(
        std::count_if(courses_.begin(), courses_.end(),
                      [](const Course& course) { return course.state != State::Calm; }));
}

bool Trial::allCalm() const
{
    return underFault() == 0;
}

Clock::duration Trial::promised(const Course& course) const
{
    const auto index = static_cast<std::size_t>(&course - courses_.data());
    return panelhost::longestRecovery(project_.stations[index], project_.cycle,
                                      options_.sharedCycle ? options_.stations : 1);
}

Counts Trial::total() const
{
    Counts all;
    for (const Course& course : courses_)
        all.add(course.station->counts());
    return all;
}

double Trial::reportPaces() const
{
    double worst = std::numeric_limits<double>::infinity();
    for (const Course& course : courses_) {
        if (course.during.seconds() >= kLeastSecondsForPace)
            worst = std::min(worst, course.during.perSecond() / course.before.perSecond());
        std::printf("%s: %.2f scans/s before, %.2f while others failed (%.0f s)\n",
                    course.station->name().c_str(), course.before.perSecond(),
                    course.during.perSecond(), course.during.seconds());
    }
    return worst;
}

int Trial::reportFaults() const
{
    int faults = 0;
    for (const auto& [kind, count] : faults_) {
        std::printf("fault %-28s %d\n", kind.c_str(), count);
        faults += count;
    }
    return faults;
}

void Trial::report(const Counts& all, double worstPace, int faults) const
{
    const auto number = [](std::uint64_t count) { return static_cast<unsigned long long>(count); };
    std::printf("snapshots %llu, values compared %llu of %zu types, wrong %llu, too old %llu\n",
                number(all.looks), number(all.values), all.types.size(), number(all.wrong),
                number(all.tooOld));
    std::printf("writes confirmed %llu, failed %llu, wrongly reported %llu\n",
                number(all.writesConfirmed), number(all.writesFailed), number(all.writesWrong));
    std::printf("faults %d of %zu kinds, longest recovery %.0f ms (%s), worst pace ratio %.3f\n",
                faults, faults_.size(), inMilliseconds(longestRecovery_),
                longestRecoveryKind_.c_str(), worstPace);
}

void Trial::judge(const Counts& all, double worstPace)
{
    constexpr std::size_t kTypes = 27;
    if (all.wrong + all.tooOld + all.writesWrong > 0)
        mistake("not everything that the host said was true");
    if (all.types.size() < kTypes)
        mistake("only " + std::to_string(all.types.size()) + " types were compared");
    if (all.writesConfirmed == 0)
        mistake("no write was confirmed");
    // In one cycle a silent station takes its time-outs from the others.
    if (options_.judgePace && !options_.sharedCycle && worstPace < kLeastPace)
        mistake("a station without a fault lost a tenth of its pace or more");
}

void Trial::mistake(const std::string& what)
{
    ++mistakes_;
    std::fprintf(stderr, "mistake: %s\n", what.c_str());
}

} // namespace truth
