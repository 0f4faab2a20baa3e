// The communication cycle: one thread that asks one driver for requests, exchanges them with the
// controllers over one link per station, screens every reply, and keeps what may be shown.
//
// The thread alone touches the driver and the links. Everything that other threads see (tags,
// statistics, station views, waiting writes) stands under one mutex, which is never held while the
// thread waits for the network.

#ifndef PANELHOST_CYCLE_H
#define PANELHOST_CYCLE_H

#include "driver.h"
#include "screening.h"
#include "station.h"
#include "statistics.h"
#include "tag_table.h"
#include "tcp_link.h"
#include "traffic.h"

#include <atomic>
#include <condition_variable>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace panelhost {

struct CycleSettings {
    /// Start to start, kLongestPause at most; 0 scans without pause.
    std::chrono::milliseconds scanInterval{0};
    std::chrono::milliseconds refusedRetry{5000}; ///< before a refused tag is tried again
    std::chrono::milliseconds staleAfter{10000};  ///< an older value is not shown as good
    /// A controller drops a connection that is not used for 32 s; a station that there is nothing to
    /// read from is asked something this often.
    std::chrono::milliseconds keepAlive{8000};

    static constexpr std::chrono::milliseconds kLongestPause{8000};
};

/// A station whose trouble is over shows good values again within this time: the longest pause between
/// attempts, the time-outs of a request that the trouble still swallowed, and what it takes to open a
/// session and to read everything anew (some 60 tags at 5 ms). In a cycle for several stations the
/// pauses are longer, and each of the others may have its time-outs as well.
std::chrono::milliseconds longestRecovery(const StationSettings& station,
                                          const CycleSettings& cycle, int stationsInCycle = 1);

/// A reference as the cycle knows it.
struct ItemId {
    int station = 0;
    int tag = 0;
    ElementRange range;
};

struct WriteOutcome {
    bool done = false;
    std::string reason;       ///< why not
    Clock::time_point sentAt; ///< values read by later requests show the write
};

class Cycle {
public:
    Cycle(std::unique_ptr<DriverLibrary> library, const std::vector<StationSettings>& stations,
          const CycleSettings& settings, Traffic* traffic);
    ~Cycle();
    Cycle(const Cycle&) = delete;
    Cycle& operator=(const Cycle&) = delete;

    // --- Before start() ---

    ItemId want(int station, const TagReference& reference);
    void start();
    /// Ends the thread and closes the links. Waiting writes fail.
    void stop();

    // --- Any thread ---

    Snapshot snapshot(const ItemId& item) const;
    StationView station(int index) const;
    Statistics statistics(int index) const;
    int stationCount() const { return static_cast<int>(stations_.size()); }

    /// Queues a write of values to the first elements of item.
    std::future<WriteOutcome> write(const ItemId& item, std::vector<Value> values);

    /// Waits until a scan is complete, a tag was refused, a station came or went or a write ended,
    /// or the time is over. seen is what the last call returned, 0 at first.
    std::uint64_t waitForChange(std::uint64_t seen, Clock::time_point deadline) const;

private:
    struct WriteJob {
        ItemId item;
        std::vector<Value> values;
        std::promise<WriteOutcome> outcome;
        const CipType* type = nullptr; ///< the values were checked against it
    };

    /// What a request in flight is for, copied before the driver retires it.
    struct Served {
        Purpose purpose;
        int tag;
        int block;
        bool isRead;
    };

    struct Exchange {
        LinkResult link = LinkResult::Ok;
        Screened screened;
        Clock::time_point sentAt;
        Clock::time_point receivedAt;
    };

    // cycle.cpp: what to do next
    void run();
    void prepare(Clock::time_point now);
    void tryToBringUp(Station& station, Clock::time_point now);
    void bringUp(Station& station);
    void queueOnceRead(Station& station, Clock::time_point now);
    void appendToReadList(const Tag& tag);
    void rebuildReadList();
    void apply(const Station& station, int tag, ListChange change);
    bool workDue(Clock::time_point now) const;
    void sleep(Clock::time_point now);
    Clock::time_point nextDue(Clock::time_point now) const;
    void waitForWakeUpOrHangUp(Clock::time_point until);
    void nothingToSend();
    void countScan(const Station& station, int tag);
    void notifyChange();

    // cycle_writes.cpp: writes that wait
    void queueWrite(Station& station);
    void finishWrite(Station& station, const WriteOutcome& outcome);
    void failWrites(Station& station, const std::string& reason);

    // cycle_transfer.cpp: one request and its reply
    void serve(const Protocol& request);
    void registerSession(Station& station, const Protocol& request);
    void openConnection(Station& station, const Protocol& request);
    void transfer(Station& station, const Protocol& request);
    void accept(Station& station, const Protocol& request, const Served& served,
                const Exchange& exchange);
    std::string objection(const Station& station, const Protocol& request, const Served& served);
    void filed(Station& station, const Served& served, Clock::time_point now);
    void publish(Station& station, const Served& served);
    void refuse(Station& station, const Protocol& request, const Served& served,
                const Exchange& exchange);
    void giveUp(Station& station, const std::string& reason, StationTrouble trouble);
    void abandon(Station& station, const Exchange& exchange);
    void takeDown(Station& station, const std::string& reason, StationTrouble trouble);
    template <typename Screen>
    Exchange exchange(Station& station, const QByteArray& request, const Screen& screen);
    void note(const Station& station, const std::string& what);

    CycleSettings settings_;
    Traffic* traffic_;
    Interrupt interrupt_; ///< ends waits for the network
    Interrupt wakeUp_;    ///< ends sleep
    Driver driver_;
    std::vector<std::unique_ptr<Station>> stations_;
    QByteArray reply_;
    QByteArray fetched_;

    // Communication thread only.
    bool requestPending_ = false; ///< the driver's front request waits to be sent again
    bool listDirty_ = false;
    int listSize_ = 0;
    int scanServed_ = 0;
    std::pair<int, int> lastServed_; ///< station and tag of the last cyclic read
    int emptyAnswers_ = 0;
    Clock::time_point scanStartedAt_;
    Clock::time_point nextScanAt_;

    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    std::uint64_t changes_ = 1;                       ///< under mutex_
    bool finished_ = false;                           ///< under mutex_
    std::vector<std::deque<WriteJob>> waitingWrites_; ///< per station, under mutex_
    std::atomic<bool> stopping_{false};
    std::thread thread_;
};

} // namespace panelhost

#endif // PANELHOST_CYCLE_H
