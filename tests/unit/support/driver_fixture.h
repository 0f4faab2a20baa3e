// The driver as a test finds it: freshly loaded, with a host's record and callbacks registered.

#ifndef MICRO850_TESTS_DRIVER_FIXTURE_H
#define MICRO850_TESTS_DRIVER_FIXTURE_H

#include "Device_Driver.h"
#include "Func_Initi.h"
#include "bytes.h"
#include "records.h"
#include "tagcommunication.h"

#include <QList>
#include <QString>

#include <gtest/gtest.h>

#include <vector>

/// One call of the done callback.
struct DoneEvent {
    int hostHandle;
    int hostArea;
    int hostAddress;
    int status;
};
bool operator==(const DoneEvent& a, const DoneEvent& b);
void PrintTo(const DoneEvent& event, std::ostream* out);

/// One call of the fail callback.
struct FailEvent {
    bool listIsEmpty;
    int hostArea;
    int one;
};
bool operator==(const FailEvent& a, const FailEvent& b);
void PrintTo(const FailEvent& event, std::ostream* out);

/// A reply with the given session handle, 28 bytes; another status makes it a refusal.
QByteArray registerSessionReply(const char* sessionHandle, const char* status = "00 00 00 00");

/// A successful Forward Open reply that carries the given O->T connection ID, 70 bytes.
QByteArray forwardOpenReply(const char* connectionId, const char* sessionHandle = "11 22 33 44");

/// A Read Tag reply: 50 bytes of headers, then the type bytes and the values.
QByteArray readReply(const char* typeAndValues);

/// A Write Tag Fragmented reply, 50 bytes.
QByteArray writeReply();

/// What get_random_number() gives all through one second of the day.
int randomAt(int secondsOfDay);

/// Every test starts and ends with the driver as it is after load, except that comInfo and the
/// callbacks below are registered and the clock stands still. At the end of each test all locks
/// must be free and Qt must not have warned.
class DriverTest : public ::testing::Test {
protected:
    DriverTest();
    ~DriverTest() override;

    void SetUp() override;
    void TearDown() override;

    // --- The host's side ---

    /// Replaces the tag names; the ordinary way of deciding what is an array.
    void passNames(const QList<varName>& names);

    /// Passes a list headed by a name that no tag bears, so that every tag is an array.
    void makeAllTagsArrays();

    /// Makes the clock say that many seconds after midnight.
    void holdClock(int secondsOfDay);

    // --- Stations ---

    /// Writes a connected station straight into the store.
    void connectStation(int station, const char* sessionHandle = "11 22 33 44",
                        const char* connectionId = "AA BB CC DD", quint16 sequenceCount = 1);

    /// Connects a station through the cycle: both requests taken, both replies handed in. Needs no
    /// request in flight. The queues come out as they were; the cycle has served one cyclic read.
    void handshake(int station, const char* sessionHandle = "11 22 33 44",
                   const char* connectionId = "AA BB CC DD");

    static QByteArray typeHeader(int station, const char* tag);
    static QByteArray storedData(int station, const char* tag);
    static void setTypeHeader(int station, const char* tag, const char* headerHex);
    static void setStoredData(int station, const char* tag, const char* dataHex);

    // --- The cycle ---

    /// ComCommunication() must return a request with exactly this frame.
    Protocol* expectSent(const char* frameHex, const char* file = __builtin_FILE(),
                         int line = __builtin_LINE());

    /// ComCommunication() must return null.
    void expectNothingSent(const char* file = __builtin_FILE(), int line = __builtin_LINE());

    /// Hands one reply in, its length reported truly, and returns the outcome.
    int reply(const char* replyHex);
    int reply(const QByteArray& bytes);
    int reply(const QByteArray& bytes, int reportedLength);

    /// Hands the answer to a read or write in twice and returns the second outcome.
    int answer(const QByteArray& bytes);

    // --- What was seen ---

    static const std::vector<DoneEvent>& done();
    static const std::vector<FailEvent>& failed();
    /// True when every callback so far ran with queueMutex held.
    static bool callbacksHeldTheQueueLock();
    /// Debug messages in their order, blanks included.
    static const QList<QString>& messages();
    static void forgetMessages();

    COM_INFO comInfo;

private:
    void resetDriver();
    void restartReplyCounter();
    void registerHost();
};

#endif // MICRO850_TESTS_DRIVER_FIXTURE_H
