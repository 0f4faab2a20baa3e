#include "cycle.h"

#include <algorithm>

namespace panelhost {

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
        wake_.notify_all();
        changed_.wait_for(lock, kGrace, [this] { return finished_; });
    }
    interrupt_.set();
    thread_.join();
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& station : stations_) {
        if (traffic_ != nullptr && station->link.isOpen())
            traffic_->closed(station->settings.name, station->link);
        station->link.close();
        while (!waitingWrites_[static_cast<std::size_t>(station->number)].empty())
            finishWrite(*station, {false, "stopped", Clock::now()});
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

std::future<WriteOutcome> Cycle::write(const ItemId& item, std::vector<Value> values)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    WriteJob job;
    job.item = item;
    job.values = std::move(values);
    job.type = stations_[static_cast<std::size_t>(item.station)]->table.tag(item.tag).type.element;
    std::future<WriteOutcome> outcome = job.outcome.get_future();
    waitingWrites_[static_cast<std::size_t>(item.station)].push_back(std::move(job));
    wake_.notify_all();
    return outcome;
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
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const auto& entry : stations_) {
        Station& station = *entry;
        if (!station.up && now >= station.upAgainAt)
            bringUp(station);
        if (!station.up) {
            // A write to a station that is switched off would wait for nobody.
            while (!waitingWrites_[static_cast<std::size_t>(station.number)].empty())
                finishWrite(station, {false, "not written: " + station.view.reason, now});
            continue;
        }
        listDirty_ = station.table.retryRefused(now) || listDirty_;
        if (!station.onceReadQueued) {
            if (const auto var = station.table.nextOnceRead()) {
                driver_.queueOnceRead(*var);
                station.onceReadQueued = true;
            }
        }
        queueWrite(station);
    }
    // A failed request is booked on the list's front entry, so the list stands still meanwhile.
    if (listDirty_ && !requestPending_)
        rebuildReadList();
}

void Cycle::bringUp(Station& station)
{
    station.up = true;
    driver_.enableStation(station.number, true);
}

void Cycle::queueWrite(Station& station)
{
    std::deque<WriteJob>& waiting = waitingWrites_[static_cast<std::size_t>(station.number)];
    while (!station.writeQueued && !waiting.empty()) {
        const WriteJob& job = waiting.front();
        const Tag& tag = station.table.tag(job.item.tag);
        const Clock::time_point now = Clock::now();
        if (tag.stage == Tag::Stage::Refused) {
            finishWrite(station, {false, tag.refusal, now});
            continue;
        }
        // The driver turns a write of a tag whose type it does not know into a read.
        if (!tag.typeStored || tag.stage != Tag::Stage::Reading)
            return;
        if (job.type != tag.type.element) {
            finishWrite(station, {false, "the tag's data type has changed", now});
            continue;
        }
        const std::string obstacle = writeObstacle(*job.type, tag.name, job.item.range);
        if (!obstacle.empty()) {
            finishWrite(station, {false, obstacle, now});
            continue;
        }
        RW_VAR var;
        var.hostArea = kWrite;
        var.hostAddress = tag.id;
        var.tagName = tag.driverName;
        var.indexText = QString::number(job.item.range.first);
        var.dataKind = tag.id;
        var.station = station.number;
        var.data = encodeRegisters(*job.type, job.values);
        var.count = writeCount(*job.type, job.values);
        driver_.queueWrite(var);
        station.writeQueued = true;
        station.writeSent = false;
    }
}

void Cycle::finishWrite(Station& station, const WriteOutcome& outcome)
{
    std::deque<WriteJob>& waiting = waitingWrites_[static_cast<std::size_t>(station.number)];
    if (waiting.empty())
        return;
    waiting.front().outcome.set_value(outcome);
    waiting.pop_front();
    station.writeQueued = false;
    station.writeSent = false;
    notifyChange();
}

void Cycle::appendToReadList(const Tag& tag)
{
    for (const Block& block : tag.blocks)
        if (block.listed)
            listSize_ = driver_.addCyclicRead(block.var);
    nextScanAt_ = Clock::time_point(); // what is new is wanted now
}

void Cycle::rebuildReadList()
{
    listDirty_ = false;
    listSize_ = 0;
    scanServed_ = 0;
    driver_.clearReadList();
    for (const auto& station : stations_)
        for (const Tag& tag : station->table.tags())
            if (station->up && tag.stage == Tag::Stage::Reading)
                appendToReadList(tag);
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

void Cycle::sleep(Clock::time_point now)
{
    std::unique_lock<std::mutex> lock(mutex_);
    Clock::time_point until = now + CycleSettings::kLongestPause;
    if (listSize_ > 0)
        until = std::min(until, nextScanAt_);
    for (const auto& station : stations_)
        until = std::min(until, station->up ? station->table.nextRetry() : station->upAgainAt);
    wake_.wait_until(lock, until, [this] {
        return stopping_ ||
               std::any_of(stations_.begin(), stations_.end(), [this](const auto& station) {
                   return station->up && !station->writeQueued &&
                          !waitingWrites_[static_cast<std::size_t>(station->number)].empty();
               });
    });
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

void Cycle::countScan()
{
    const Clock::time_point now = Clock::now();
    if (scanServed_ == 0)
        scanStartedAt_ = now;
    if (++scanServed_ < listSize_)
        return;
    scanServed_ = 0;
    nextScanAt_ = std::max(now, scanStartedAt_ + settings_.scanInterval);
    for (const auto& station : stations_)
        if (station->view.online)
            ++station->statistics.scans;
    notifyChange();
}

} // namespace panelhost
