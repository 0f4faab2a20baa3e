#include "cycle.h"

namespace panelhost {

std::future<WriteOutcome> Cycle::write(const ItemId& item, std::vector<Value> values)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    WriteJob job;
    job.item = item;
    job.values = std::move(values);
    job.type = stations_[static_cast<std::size_t>(item.station)]->table.tag(item.tag).type.element;
    std::future<WriteOutcome> outcome = job.outcome.get_future();
    waitingWrites_[static_cast<std::size_t>(item.station)].push_back(std::move(job));
    wakeUp_.set();
    return outcome;
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
            const char* why = job.type != nullptr
                                  ? "not written: the tag's data type has changed"
                                  : "not written: the tag's data type was not known yet";
            finishWrite(station, {false, why, now});
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

void Cycle::failWrites(Station& station, const std::string& reason)
{
    while (!waitingWrites_[static_cast<std::size_t>(station.number)].empty())
        finishWrite(station, {false, reason, Clock::now()});
}

} // namespace panelhost
