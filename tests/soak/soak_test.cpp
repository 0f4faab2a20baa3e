// Years of a panel's life in seconds: hundreds of stations, every kind of failure, and beside it a
// model of what the driver must report and hold. MICRO850_SOAK_MINUTES makes it longer.

#include "process_figures.h"
#include "tiny_controller.h"

#include <micro850/host_interface.h>

#include <QByteArray>
#include <QString>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <random>
#include <vector>

namespace {

const int kStations = 300;
const int kTags = 2; // a station
const int kPlaces = kStations * kTags;
const int kRegisters = 8;
const int kRetryLimit = 1;
const qint64 kTransactions = 6000000;
const qint64 kWarmUp = kTransactions / 10;
const size_t kAllowedGrowth = 256 * 1024;

/// The host's area codes, by which the model tells its requests apart.
enum Area { kCyclic = 1, kWritten = 2, kOnce = 3 };

enum CallbackStatus { kDone = 1, kFailed = 2 };

/// One tag of one station, as the model knows it.
struct Place {
    QByteArray value; ///< empty: nothing stored
    bool writeWaits = false;
    bool onceReadWaits = false;
};

struct Station {
    bool connected = false;
    bool switchedOff = false;
    Place places[kTags];
};

/// Callbacks by area and status; once as they came, once as the model expects them.
struct CallbackCounts {
    qint64 done[4][3] = {};
    qint64 failed = 0;
};

CallbackCounts seen;
COM_INFO comInfo;

void noteDone(int, int hostArea, int, int status)
{
    ++seen.done[hostArea][status];
}

void noteFailed(void*, int, int)
{
    ++seen.failed;
}

void ignoreMessage(QtMsgType, const char*)
{
}

QString tagName(int tag)
{
    return tag == 0 ? QString::fromLatin1("Level") : QString::fromLatin1("Speed");
}

class Soak {
public:
    Soak() : stations_(kStations) { setUp(); }

    void transaction();
    void checkEverything();

    qint64 transactions() const { return transactions_; }
    qint64 good() const { return good_; }
    qint64 dropped() const { return expected_.failed; }
    qint64 handshakes() const { return handshakes_; }
    qint64 refusedOpens() const { return refusedOpens_; }
    const CallbackCounts& expected() const { return expected_; }

private:
    void setUp();
    void hostActs();
    void queueWrite(int at, int tag);
    void queueOnceRead(int at, int tag);
    void toggle(Station& station, int number);

    void handshake(const Protocol& request);
    void forwardOpen(Station& station);
    void data(const Protocol& request);
    bool converse(const Protocol& request, const QByteArray& reply);
    bool noAnswer(int hostArea);
    bool wrongLengths(const QByteArray& reply, int hostArea);
    void finish(const RW_VAR& var, bool succeeded, const QByteArray& values);
    void dropSession(Station& station);
    void checkPlace(int station, int tag);

    int reply(const QByteArray& bytes);
    QByteArray randomBytes(int size);
    quint32 number() { return static_cast<quint32>(random_()); }
    int below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }
    bool oneIn(int chances) { return below(chances) == 0; }

    std::mt19937 random_{1850};
    std::vector<Station> stations_;
    CallbackCounts expected_;
    qint64 transactions_ = 0;
    qint64 good_ = 0;
    qint64 handshakes_ = 0;
    qint64 refusedOpens_ = 0;
};

void Soak::setUp()
{
    micro850::installMessageHandler(ignoreMessage);
    comInfo.multiStation = 1;
    comInfo.retryLimit = kRetryLimit;
    comInfo.writeMode = 2;
    SetComInfo(&comInfo);
    RegistCallBackFuncIntf(noteDone, noteFailed);
    varName other;
    other.name = QString::fromLatin1("*");
    other.kind = 2;
    const QList<varName> names = QList<varName>() << other;
    PassVarName(&names);
    for (int place = 0; place < kPlaces; ++place) {
        RW_VAR var;
        var.hostArea = kCyclic;
        var.hostAddress = place;
        var.tagName = tagName(place % kTags);
        var.station = place / kTags;
        var.count = kRegisters;
        var.isArrayTag = 1;
        AddListReadVar(&var);
    }
}

// --- The host between two transactions ---

void Soak::hostActs()
{
    const int at = below(kStations);
    const int tag = below(kTags);
    switch (below(12)) {
    case 0:
    case 1: queueWrite(at, tag); break;
    case 2: queueOnceRead(at, tag); break;
    case 3: toggle(stations_[static_cast<size_t>(at)], at); break;
    case 4: checkPlace(at, tag); break;
    default: break;
    }
}

/// Only to tags whose type is known, one write at a time: what else happens to writes is the unit
/// tests' concern.
void Soak::queueWrite(int at, int tag)
{
    const Station& station = stations_[static_cast<size_t>(at)];
    Place& place = stations_[static_cast<size_t>(at)].places[tag];
    if (station.switchedOff || place.value.isEmpty() || place.writeWaits)
        return;
    SetRegisterData(tagName(tag), tag, QString::fromLatin1("0"), at, randomBytes(2 * kRegisters),
                    kRegisters, kWritten, at * kTags + tag);
    place.writeWaits = true;
}

void Soak::queueOnceRead(int at, int tag)
{
    Place& place = stations_[static_cast<size_t>(at)].places[tag];
    if (stations_[static_cast<size_t>(at)].switchedOff || place.onceReadWaits)
        return;
    RW_VAR var;
    var.hostArea = kOnce;
    var.hostAddress = at * kTags + tag;
    var.tagName = tagName(tag);
    var.station = at;
    var.count = kRegisters;
    AddListOnceReadVar(&var, 0);
    place.onceReadWaits = true;
}

/// Switches a station off or on; never one for which something waits, which would be dropped.
void Soak::toggle(Station& station, int number)
{
    for (const Place& place : station.places) {
        if (place.writeWaits || place.onceReadWaits)
            return;
    }
    EnCommStation(number, station.switchedOff ? 1 : 0);
    station.switchedOff = !station.switchedOff;
}

// --- The cycle ---

void Soak::transaction()
{
    hostActs();
    const Protocol* request = ComCommunication();
    if (request == nullptr)
        return;
    ++transactions_;
    if (controller::askedBy(*request) == controller::Asked::RegisterSession)
        handshake(*request);
    else
        data(*request);
}

void Soak::handshake(const Protocol& request)
{
    Station& station = stations_[static_cast<size_t>(request.var.station)];
    ASSERT_FALSE(station.connected);
    if (oneIn(20)) {
        ASSERT_EQ(kHandshakeRefused, reply(randomBytes(below(28))));
        return;
    }
    ASSERT_EQ(kOk, reply(controller::registerSessionReply(number())));
    forwardOpen(station);
}

/// A controller refuses up to four times; the driver gives up after the fourth.
void Soak::forwardOpen(Station& station)
{
    const int refusals = oneIn(10) ? 1 + below(4) : 0;
    for (int i = 0; i < refusals; ++i) {
        const Protocol* request = ComCommunication();
        ASSERT_NE(nullptr, request);
        ASSERT_EQ(controller::Asked::ForwardOpen, controller::askedBy(*request));
        ASSERT_EQ(kHandshakeRefused, reply(randomBytes(below(70))));
        ++refusedOpens_;
    }
    if (refusals == 4)
        return;
    ASSERT_NE(nullptr, ComCommunication());
    ASSERT_EQ(kOk, reply(controller::forwardOpenReply(number(), number())));
    station.connected = true;
    ++handshakes_;
}

void Soak::data(const Protocol& request)
{
    const RW_VAR var = request.var;
    ASSERT_TRUE(stations_[static_cast<size_t>(var.station)].connected);
    const QByteArray values = randomBytes(2 * kRegisters);
    const QByteArray good = controller::goodReply(request, controller::kInt, values);
    const bool succeeded = converse(request, good);
    finish(var, succeeded, values);
}

/// One transaction with whatever happens to it on the way; false when it failed for good.
bool Soak::converse(const Protocol& request, const QByteArray& good)
{
    const int area = request.var.hostArea;
    switch (below(200)) {
    case 0: return noAnswer(area);
    case 1: return wrongLengths(good, area);
    case 2:
    case 3:
        for (int i = 1 + below(3); i > 0; --i)
            EXPECT_EQ(kResend, reply(randomBytes(below(50))));
        break;
    case 4:
        EXPECT_EQ(kOk, reply(good));
        EXPECT_EQ(kResend, reply(good.left(good.size() - 1)));
        EXPECT_EQ(kOk, reply(good));
        comInfo.failCount = 0;
        return true;
    default: break;
    }
    EXPECT_EQ(kOk, reply(good));
    EXPECT_EQ(kOk, reply(good));
    return true;
}

/// Four rounds without a reply, then failures beyond the limit.
bool Soak::noAnswer(int hostArea)
{
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(kResend, reply(QByteArray()));
    EXPECT_EQ(kOk, reply(QByteArray()));
    for (int i = 0; i < kRetryLimit; ++i)
        EXPECT_EQ(kResend, reply(QByteArray()));
    EXPECT_EQ(kLocalNoReply + 1 + hostArea, reply(QByteArray()));
    return false;
}

bool Soak::wrongLengths(const QByteArray& good, int hostArea)
{
    EXPECT_EQ(kOk, reply(good));
    for (int i = 0; i < kRetryLimit; ++i)
        EXPECT_EQ(kResend, reply(good + "x"));
    EXPECT_EQ(kLocalWrongLength + 1 + hostArea, reply(randomBytes(1 + below(40))));
    return false;
}

// --- The model ---

void Soak::finish(const RW_VAR& var, bool succeeded, const QByteArray& values)
{
    Station& station = stations_[static_cast<size_t>(var.station)];
    Place& place = station.places[var.hostAddress % kTags];
    if (var.hostArea != kCyclic)
        ++expected_.done[var.hostArea][succeeded ? kDone : kFailed];
    if (var.hostArea == kWritten)
        place.writeWaits = false;
    if (var.hostArea == kOnce)
        place.onceReadWaits = false;
    if (!succeeded) {
        dropSession(station);
        checkPlace(var.station, var.hostAddress % kTags);
        return;
    }
    ++good_;
    if (var.hostArea != kWritten)
        place.value = values;
    if (oneIn(16))
        checkPlace(var.station, var.hostAddress % kTags);
}

/// The session, all values and the waiting writes of a station go; once-reads of others stay.
void Soak::dropSession(Station& station)
{
    ++expected_.failed;
    station.connected = false;
    for (Place& place : station.places) {
        place.value.clear();
        place.writeWaits = false;
    }
}

void Soak::checkPlace(int station, int tag)
{
    const QByteArray& expected = stations_[static_cast<size_t>(station)].places[tag].value;
    QByteArray value("left over");
    const int found =
        GetRegisterData(tagName(tag), 0, QString::fromLatin1("0"), station, &value, kRegisters);
    ASSERT_EQ(expected.isEmpty() ? 0 : 1, found) << "station " << station << ", tag " << tag;
    ASSERT_EQ(expected, value) << "station " << station << ", tag " << tag;
}

void Soak::checkEverything()
{
    for (int place = 0; place < kPlaces; ++place)
        checkPlace(place / kTags, place % kTags);
    EXPECT_EQ(expected_.failed, seen.failed);
    for (int area = kCyclic; area <= kOnce; ++area) {
        for (int status = kDone; status <= kFailed; ++status)
            EXPECT_EQ(expected_.done[area][status], seen.done[area][status])
                << "area " << area << ", status " << status;
    }
}

int Soak::reply(const QByteArray& bytes)
{
    QByteArray copy = bytes;
    return DataCom(&copy, copy.size())->result;
}

QByteArray Soak::randomBytes(int size)
{
    QByteArray bytes(size, '\0');
    for (int i = 0; i < size; ++i)
        bytes[i] = static_cast<char>(random_() & 0xFF);
    return bytes;
}

std::chrono::minutes wantedMinutes()
{
    const char* minutes = std::getenv("MICRO850_SOAK_MINUTES");
    return std::chrono::minutes(minutes != nullptr ? std::atoi(minutes) : 0);
}

} // namespace

TEST(Soak, MillionsOfTransactionsLeaveMemoryFlatAndCountersRight)
{
    const auto end = std::chrono::steady_clock::now() + wantedMinutes();
    Soak soak;
    ProcessFigures before = processFigures();
    for (qint64 turn = 0; !HasFailure(); ++turn) {
        if (turn == kWarmUp)
            before = processFigures();
        if (turn >= kTransactions && turn % 1000 == 0 && std::chrono::steady_clock::now() >= end)
            break;
        soak.transaction();
    }
    const ProcessFigures after = processFigures();
    soak.checkEverything();

    EXPECT_LT(after.residentBytes, before.residentBytes + kAllowedGrowth);
    EXPECT_EQ(before.openFiles, after.openFiles);
    EXPECT_EQ(before.threads, after.threads);
    EXPECT_GT(soak.good(), kTransactions / 2);
    EXPECT_GT(soak.dropped(), kTransactions / 1000);
    EXPECT_GT(soak.refusedOpens(), kTransactions / 10000);
    EXPECT_GT(soak.expected().done[kWritten][kDone], kTransactions / 100);
    EXPECT_GT(soak.expected().done[kOnce][kDone], kTransactions / 100);
    std::printf(
        "%lld transactions, %lld good, %lld handshakes, %lld sessions dropped; resident %zu "
        "KiB after warm-up, %zu KiB at the end\n",
        soak.transactions(), soak.good(), soak.handshakes(), soak.dropped(),
        before.residentBytes / 1024, after.residentBytes / 1024);
}
