#include "cycle.h"

#include <algorithm>

namespace panelhost {

std::chrono::milliseconds longestRecovery(const StationSettings& station,
                                          const CycleSettings& cycle, int stationsInCycle)
{
    constexpr std::chrono::milliseconds kReadingAnew(1000);
    const std::chrono::milliseconds timeouts = station.timeout * (station.retries + 1);
    std::chrono::milliseconds pause = std::max(BackOff::kLongest, cycle.refusedRetry);
    if (stationsInCycle > 1)
        pause = std::max(pause, timeouts * BackOff::kShareOfOthers);
    return pause + (timeouts + kReadingAnew) * stationsInCycle;
}

Cycle::Cycle(std::unique_ptr<DriverLibrary> library, const std::vector<StationSettings>& stations,
             const CycleSettings& settings, Traffic* traffic)
    : settings_(settings), traffic_(traffic), driver_(std::move(library))
{
    settings_.scanInterval = std::min(settings_.scanInterval, CycleSettings::kLongestPause);
    for (const StationSettings& station : stations)
        stations_.push_back(std::make_unique<Station>(static_cast<int>(stations_.size()), station,
                                                      &interrupt_, settings_.refusedRetry));
    waitingWrites_.resize(stations_.size());
    for (const auto& station : stations_)
        station->view.reason = "connecting";
}

Cycle::~Cycle()
{
    stop();
}

ItemId Cycle::want(int station, const TagReference& reference)
{
    const int tag = stations_[static_cast<std::size_t>(station)]->table.want(reference);
    return {station, tag, {reference.first, reference.count}};
}

void Cycle::start()
{
    for (const auto& station : stations_)
        station->table.startSession();
    thread_ = std::thread(&Cycle::run, this);
}

void Cycle::stop()
{
    if (!thread_.joinable())
        return;
    {
        // An answer under way is worth a moment; silence is cut short.
        constexpr std::chrono::milliseconds kGrace(100);
        std::unique_lock<std::mutex> lock(mutex_);
        stopping_ = true;
        wakeUp_.set();
        changed_.wait_for(lock, kGrace, [this] { return finished_; });
    }
    interrupt_.set();
    thread_.join();
    for (const auto& station : stations_)
        station->knock.wait();
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& station : stations_) {
        if (traffic_ != nullptr && station->link.isOpen())
            traffic_->closed(station->settings.name, station->link);
        station->link.close();
        failWrites(*station, "stopped");
    }
}

Snapshot Cycle::snapshot(const ItemId& item) const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    const Station& station = *stations_[static_cast<std::size_t>(item.station)];
    return station.table.snapshot(item.tag, item.range,
                                  station.view.online ? std::string() : station.view.reason,
                                  Clock::now(), settings_.staleAfter);
}

StationView Cycle::station(int index) const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return stations_[static_cast<std::size_t>(index)]->view;
}

Statistics Cycle::statistics(int index) const
{
    const std::lock_guard<std::mutex> lock(mutex_);
    return stations_[static_cast<std::size_t>(index)]->statistics;
}

std::uint64_t Cycle::waitForChange(std::uint64_t seen, Clock::time_point deadline) const
{
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_until(lock, deadline, [this, seen] { return changes_ != seen; });
    return changes_;
}

void Cycle::notifyChange()
{
    ++changes_;
    changed_.notify_all();
}

void Cycle::run()
{
    while (!stopping_) {
        const Clock::time_point now = Clock::now();
        prepare(now);
        if (!workDue(now)) {
            sleep(now);
            continue;
        }
        const Protocol* request = driver_.nextRequest();
        if (request == nullptr) {
            nothingToSend();
            continue;
        }
        emptyAnswers_ = 0;
        serve(*request);
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    finished_ = true;
    notifyChange();
}

/// Hands the driver what is due. It holds one scout or probe and one write of each station at most;
/// the rest waits here, where a failed station cannot lose it and no two writes share a key.
void Cycle::prepare(Clock::time_point now)
{
    for (const auto& station : stations_)
        if (!station->up)
            tryToBringUp(*station, now);

    const std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& entry : stations_) {
        Station& station = *entry;
        if (!station.up) {
            // A write to a station that does not answer would wait for nobody.
            if (station.view.attempts > 0)
                failWrites(station, "not written: " + station.view.reason);
            continue;
        }
        listDirty_ = station.table.retryRefused(now) || listDirty_;
        queueOnceRead(station, now);
        queueWrite(station);
    }
    // A failed request is booked on the list's front entry, so the list stands still meanwhile.
    if (listDirty_ && !requestPending_)
        rebuildReadList();
}

/// Alone in its cycle a station is simply tried. Among others it has to show first that it answers at
/// all, as they would wait for its time-outs.
void Cycle::tryToBringUp(Station& station, Clock::time_point now)
{
    if (!station.knock.underWay()) {
        if (now < station.upAgainAt)
            return;
        if (stations_.size() == 1)
            bringUp(station);
        else
            station.knock.start(&station.link, station.settings, traffic_,
                                [this] { wakeUp_.set(); });
        return;
    }
    if (!station.knock.isAnswered())
        return;
    const KnockAnswer answer = station.knock.take();
    if (answer.trouble == StationTrouble::None) {
        station.linkIsFresh = true;
        bringUp(station);
    } else {
        takeDown(station, answer.reason, answer.trouble);
    }
}

void Cycle::bringUp(Station& station)
{
    station.up = true;
    driver_.enableStation(station.number, true);
}

/// A scout or probe that is due; else, of a station that was idle for too long or whose link the
/// controller closed, any: the request keeps the connection, or finds out that it is gone.
void Cycle::queueOnceRead(Station& station, Clock::time_point now)
{
    if (station.onceReadQueued)
        return;
    std::optional<RW_VAR> var = station.table.nextOnceRead();
    const bool idle = now - station.lastSentAt >= settings_.keepAlive;
    if (!var && station.view.online && (idle || station.hungUp))
        var = station.table.anyOnceRead();
    station.hungUp = false;
    if (!var)
        return;
    driver_.queueOnceRead(*var);
    station.onceReadQueued = true;
}

void Cycle::appendToReadList(const Tag& tag)
{
    for (const Block& block : tag.blocks)
        if (block.listed)
            listSize_ = driver_.addCyclicRead(block.var);
    nextScanAt_ = Clock::time_point(); // what is new is wanted now
}

/// The new list goes on where the old one stood: stations that come and go again and again must not
/// keep the end of the list from ever being read.
void Cycle::rebuildReadList()
{
    listDirty_ = false;
    listSize_ = 0;
    scanServed_ = 0;
    driver_.clearReadList();
    std::vector<const Tag*> ahead;
    std::vector<const Tag*> behind;
    for (const auto& station : stations_)
        for (const Tag& tag : station->table.tags())
            if (station->up && tag.stage == Tag::Stage::Reading)
                (std::pair(station->number, tag.id) > lastServed_ ? ahead : behind).push_back(&tag);
    for (const Tag* tag : ahead)
        appendToReadList(*tag);
    for (const Tag* tag : behind)
        appendToReadList(*tag);
}

void Cycle::apply(const Station& station, int tag, ListChange change)
{
    if (change == ListChange::Append && !listDirty_)
        appendToReadList(station.table.tag(tag));
    else if (change != ListChange::None)
        listDirty_ = true;
}

bool Cycle::workDue(Clock::time_point now) const
{
    if (requestPending_ || (listSize_ > 0 && now >= nextScanAt_))
        return true;
    return std::any_of(stations_.begin(), stations_.end(), [](const auto& station) {
        return station->onceReadQueued || station->writeQueued;
    });
}

Clock::time_point Cycle::nextDue(Clock::time_point now) const
{
    Clock::time_point due = now + CycleSettings::kLongestPause;
    if (listSize_ > 0)
        due = std::min(due, nextScanAt_);
    for (const auto& station : stations_) {
        if (!station->up && !station->knock.underWay())
            due = std::min(due, station->upAgainAt);
        if (station->up)
            due = std::min(due, station->table.nextRetry());
        if (station->view.online)
            due = std::min(due, station->lastSentAt + settings_.keepAlive);
    }
    return due;
}

void Cycle::sleep(Clock::time_point now)
{
    Clock::time_point until;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        until = nextDue(now);
    }
    waitForWakeUpOrHangUp(until);
}

/// A link that the controller closes while nothing is asked is noticed here, not at the next scan.
void Cycle::waitForWakeUpOrHangUp(Clock::time_point until)
{
    std::vector<const Link*> links;
    std::vector<Station*> owners;
    for (const auto& station : stations_) {
        if (station->up && station->link.isOpen()) {
            links.push_back(&station->link);
            owners.push_back(station.get());
        }
    }
    for (const std::size_t hungUp : waitForHangUp(wakeUp_, links, until))
        owners[hungUp]->hungUp = true;
    wakeUp_.clear();
}

/// The driver answers null once after five writes or once-reads in a row, when it wants to serve an
/// empty cyclic list. Null again and again means that its queues are empty: what was handed to it is
/// gone, as for a station that was switched off meanwhile.
void Cycle::nothingToSend()
{
    constexpr int kNoLongerAPause = 3;
    if (++emptyAnswers_ < kNoLongerAPause)
        return;
    emptyAnswers_ = 0;
    const std::lock_guard<std::mutex> lock(mutex_);
    requestPending_ = false;
    for (const auto& station : stations_) {
        station->onceReadQueued = false;
        if (station->writeQueued)
            finishWrite(*station,
                        {false, "not written: the station was switched off", Clock::now()});
    }
}

void Cycle::countScan(const Station& station, int tag)
{
    lastServed_ = {station.number, tag};
    const Clock::time_point now = Clock::now();
    if (scanServed_ == 0)
        scanStartedAt_ = now;
    if (++scanServed_ < listSize_)
        return;
    scanServed_ = 0;
    nextScanAt_ = std::max(now, scanStartedAt_ + settings_.scanInterval);
    for (const auto& each : stations_)
        if (each->view.online)
            ++each->statistics.scans;
    notifyChange();
}

} // namespace panelhost
