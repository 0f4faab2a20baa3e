// Host threads at full speed against the communication thread, while stations fail and recover and
// the read list is rebuilt. Under ThreadSanitizer this finds data races; without it, torn values,
// crashes and deadlocks. The values tell by themselves whether they are whole: every reply and
// every write is filled with one byte.

#include "tiny_controller.h"
#include "watchdog.h"

#include <micro850/host_interface.h>

#include <QByteArray>
#include <QList>
#include <QString>

#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <thread>
#include <vector>

namespace {

const int kTransactions = MICRO850_STRESS_TRANSACTIONS;
const int kStations = 3;
const int kWholeRegisters = 200; // one reply of 400 bytes
const int kPieceRegisters = 15;  // what one cyclic read asks for
const int kWriteRegisters = 20;
const int kWriteTags = 4;
const std::chrono::seconds kAllowed(400);

const QString kWhole = QString::fromLatin1("Whole");
const QString kFirst = QString::fromLatin1("0");
const QString kPieces = QString::fromLatin1("Pieces");

struct Counts {
    std::atomic<int> wholeValues{0};
    std::atomic<int> pieces{0};
    std::atomic<int> tornValues{0};
    std::atomic<int> writesSeen{0};
    std::atomic<int> tornWrites{0};
    std::atomic<int> doneCalls{0};
    std::atomic<int> failCalls{0};
    std::atomic<int> rebuilds{0};
};

Counts counts;
std::atomic<bool> cycling{false};
COM_INFO comInfo;

QString writeTag(int number)
{
    return QString::fromLatin1("Write%1").arg(number);
}

bool isUniform(const QByteArray& bytes)
{
    return bytes.count(bytes.at(0)) == bytes.size();
}

void noteDone(int, int, int, int)
{
    ++counts.doneCalls;
}

void noteFailed(void*, int, int)
{
    ++counts.failCalls;
}

// --- The communication thread and its controller ---

bool isHandshake(const Protocol& request)
{
    const controller::Asked asked = controller::askedBy(request);
    return asked == controller::Asked::RegisterSession || asked == controller::Asked::ForwardOpen;
}

/// Answers well for a while, then not at all, so that sessions drop and come back.
class MoodyController {
public:
    /// The same bytes for both calls that one answer takes.
    QByteArray reply(const Protocol& request)
    {
        if (controller::askedBy(request) == controller::Asked::Write)
            judgeWrite(request);
        if (outage_ == 0 && oneIn(150))
            outage_ = 1 + below(12);
        if (outage_ > 0) {
            --outage_;
            return below(2) == 0 ? QByteArray() : QByteArray(below(50), '\x7E');
        }
        if (isHandshake(request) || request.replyLength < 0)
            last_ = controller::goodReply(request, controller::kInt, values(request));
        return last_;
    }

private:
    /// As many bytes as the variable asks for, also for a probe of one element: all of one
    /// pattern, another one each time.
    QByteArray values(const Protocol& request)
    {
        ++pattern_;
        return QByteArray(2 * request.var.count, static_cast<char>(1 + pattern_ % 250));
    }

    static void judgeWrite(const Protocol& request)
    {
        ++counts.writesSeen;
        if (!isUniform(controller::writtenValues(request, 2 * kWriteRegisters)))
            ++counts.tornWrites;
    }

    int below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }
    bool oneIn(int chances) { return below(chances) == 0; }

    std::mt19937 random_{850};
    int outage_ = 0;
    int pattern_ = 0;
    QByteArray last_;
};

/// Nothing that is proved counts unless all of this really happened.
bool sawEnough()
{
    return counts.wholeValues > 1000 && counts.pieces > 1000 && counts.writesSeen > 500 &&
           counts.doneCalls > 200 && counts.failCalls > 20 && counts.rebuilds > 20;
}

void communicate()
{
    MoodyController moody;
    for (int transactions = 0; transactions < kTransactions || !sawEnough();) {
        const Protocol* request = ComCommunication();
        if (request == nullptr)
            continue;
        QByteArray reply = moody.reply(*request);
        DataCom(&reply, reply.size());
        ++transactions;
    }
    cycling = false;
}

// --- Host threads, each until the communication thread has done its part ---

void judgeValue(const QByteArray& value, int registers, std::atomic<int>& seen)
{
    ++seen;
    if (value.size() != 2 * registers || !isUniform(value))
        ++counts.tornValues;
}

void readValues()
{
    QByteArray value;
    for (int i = 0; cycling; ++i) {
        const int station = i % kStations;
        if (GetRegisterData(kWhole, 0, kFirst, station, &value, kWholeRegisters) == 1)
            judgeValue(value, kWholeRegisters, counts.wholeValues);
        const int piece = i % (kWholeRegisters / kPieceRegisters);
        const QString index = QString::number(piece * kPieceRegisters);
        if (GetRegisterData(kPieces, 0, index, station, &value, kPieceRegisters) == 1)
            judgeValue(value, kPieceRegisters, counts.pieces);
    }
}

void writeValues()
{
    for (int i = 0; cycling; ++i) {
        const int tag = i % kWriteTags;
        const QByteArray value(2 * kWriteRegisters, static_cast<char>(i));
        SetRegisterData(writeTag(tag), tag, kFirst, i % kStations, value, kWriteRegisters, 2, tag);
    }
}

void queueWrites()
{
    RW_VAR var;
    var.accessKind = kAcceptWithoutStore;
    var.count = kWriteRegisters;
    var.isArrayTag = 1;
    for (int i = 0; cycling; ++i) {
        var.tagName = writeTag(i % kWriteTags);
        var.dataKind = kWriteTags + i % 50;
        var.hostAddress = var.dataKind;
        var.station = i % kStations;
        var.data = QByteArray(2 * kWriteRegisters, static_cast<char>(i));
        AddListWriteVar(&var, 0);
    }
}

void queueOnceReads()
{
    RW_VAR var;
    var.tagName = kWhole;
    var.count = kWholeRegisters;
    for (int i = 0; cycling; ++i) {
        var.hostAddress = i % 5;
        var.station = i % kStations;
        AddListOnceReadVar(&var, 0);
    }
}

void switchStations()
{
    for (int i = 0; cycling; ++i) {
        EnCommStation(i % kStations, 0);
        EnCommStation(i % kStations, 1);
        if (i % 100 == 0)
            EnCommStation(-1, 0);
    }
}

ADDRESS_RECORD address(const QString& tag, int index, int count)
{
    ADDRESS_RECORD record;
    record.tagName = tag;
    record.indexText = QString::number(index);
    record.count = count;
    return record;
}

/// Every list cuts the tag at the same elements, so that a piece is always one reply's.
void rebuildLists()
{
    ADDRESS_RECORD all = address(kPieces, 0, kWholeRegisters);
    ADDRESS_RECORD third = address(kPieces, 2 * kPieceRegisters, kPieceRegisters);
    ADDRESS_RECORD sixth = address(kPieces, 5 * kPieceRegisters, kPieceRegisters);
    std::vector<ADDRESS_RECORD> writes;
    for (int i = 0; i < kWriteTags; ++i)
        writes.push_back(address(writeTag(i), 0, kPieceRegisters));
    for (int i = 0; cycling; ++i) {
        QList<ADDRESS_RECORD*> list;
        if (i % 10 != 0)
            list =
                i % 3 == 0 ? QList<ADDRESS_RECORD*>{&third, &sixth} : QList<ADDRESS_RECORD*>{&all};
        for (ADDRESS_RECORD& record : writes)
            list.append(&record);
        comInfo.defaultStation = i % kStations;
        ReCreatReadVarList(&list);
        ++counts.rebuilds;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

void ignoreMessage(QtMsgType, const char*)
{
}

void registerHost()
{
    micro850::installMessageHandler(ignoreMessage);
    comInfo.multiStation = 1;
    comInfo.retryLimit = 1;
    comInfo.writeMode = 2;
    SetComInfo(&comInfo);
    RegistCallBackFuncIntf(noteDone, noteFailed);
    varName other;
    other.name = QString::fromLatin1("*");
    other.kind = 2;
    const QList<varName> names{other};
    PassVarName(&names);
}

} // namespace

TEST(HostThreads, AtFullSpeedSeeNoTornValueWhileStationsFailAndRecover)
{
    const Watchdog watchdog(kAllowed);
    registerHost();
    cycling = true;
    std::vector<std::thread> threads;
    threads.emplace_back(communicate);
    for (void (*work)() : {readValues, readValues, writeValues, queueWrites, queueOnceReads,
                           switchStations, rebuildLists})
        threads.emplace_back(work);
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(0, counts.tornValues);
    EXPECT_EQ(0, counts.tornWrites);
    std::printf("%d whole values, %d pieces, %d writes, %d done, %d failed, %d rebuilds\n",
                counts.wholeValues.load(), counts.pieces.load(), counts.writesSeen.load(),
                counts.doneCalls.load(), counts.failCalls.load(), counts.rebuilds.load());
}
