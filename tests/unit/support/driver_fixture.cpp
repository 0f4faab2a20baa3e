#include "driver_fixture.h"

#include <QtGlobal>

#include <ostream>

namespace {

std::vector<DoneEvent> doneEvents;
std::vector<FailEvent> failEvents;
bool queueLockHeld = true;
QList<QString> debugMessages;
QList<QString> otherMessages;
int heldSecondsOfDay = 0;

bool isFree(QMutex& mutex)
{
    if (!mutex.tryLock())
        return false;
    mutex.unlock();
    return true;
}

void noteDone(int hostHandle, int hostArea, int hostAddress, int status)
{
    queueLockHeld = queueLockHeld && !isFree(PLC_driver.queueMutex);
    doneEvents.push_back({hostHandle, hostArea, hostAddress, status});
}

void noteFailed(void* list, int hostArea, int one)
{
    queueLockHeld = queueLockHeld && !isFree(PLC_driver.queueMutex);
    const bool listIsEmpty = list != nullptr && static_cast<QList<RW_VAR>*>(list)->isEmpty();
    failEvents.push_back({listIsEmpty, hostArea, one});
}

int heldClock()
{
    return heldSecondsOfDay;
}

void noteMessage(QtMsgType type, const QString& text)
{
    (type == QtDebugMsg ? debugMessages : otherMessages).append(text);
}

#if QT_VERSION >= QT_VERSION_CHECK(5, 0, 0)

QtMessageHandler previousHandler = nullptr;

void captureMessages()
{
    previousHandler = qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&,
                                                const QString& text) { noteMessage(type, text); });
}

void releaseMessages()
{
    qInstallMessageHandler(previousHandler);
}

#else

QtMsgHandler previousHandler = nullptr;

void noteLocal8Bit(QtMsgType type, const char* text)
{
    noteMessage(type, QString::fromLocal8Bit(text));
}

void captureMessages()
{
    previousHandler = qInstallMsgHandler(noteLocal8Bit);
}

void releaseMessages()
{
    qInstallMsgHandler(previousHandler);
}

#endif

void putUint16(QByteArray& bytes, int offset, int value)
{
    bytes[offset] = static_cast<char>(value & 0xFF);
    bytes[offset + 1] = static_cast<char>(value >> 8 & 0xFF);
}

/// The clock the driver came with; the tests put it back.
int (*const realClock)() = secondsSinceMidnight;

} // namespace

bool operator==(const DoneEvent& a, const DoneEvent& b)
{
    return a.hostHandle == b.hostHandle && a.hostArea == b.hostArea &&
           a.hostAddress == b.hostAddress && a.status == b.status;
}

void PrintTo(const DoneEvent& event, std::ostream* out)
{
    *out << "done(" << event.hostHandle << ", " << event.hostArea << ", " << event.hostAddress
         << ", " << event.status << ')';
}

bool operator==(const FailEvent& a, const FailEvent& b)
{
    return a.listIsEmpty == b.listIsEmpty && a.hostArea == b.hostArea && a.one == b.one;
}

void PrintTo(const FailEvent& event, std::ostream* out)
{
    *out << "failed(" << (event.listIsEmpty ? "empty list, " : "no empty list, ") << event.hostArea
         << ", " << event.one << ')';
}

QByteArray registerSessionReply(const char* sessionHandle, const char* status)
{
    return hex("65 00 04 00") + hex(sessionHandle) + hex(status) +
           hex("00 00 00 00 00 00 00 00 00 00 00 00 01 00 00 00");
}

QByteArray forwardOpenReply(const char* connectionId, const char* sessionHandle)
{
    return hex("6F 00 2E 00") + hex(sessionHandle) +
           hex("00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
               "00 00 00 00 00 00 02 00 00 00 00 00 B2 00 1E 00"
               "D4 00 00 00") +
           hex(connectionId) +
           hex("01 00 FE 80 02 00 01 00 00 00 34 12 80 84 1E 00 80 84 1E 00 00 00");
}

QByteArray readReply(const char* typeAndValues)
{
    QByteArray bytes = hex("70 00 00 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                           "00 00 00 00 00 00 02 00 A1 00 04 00 01 00 FE 80 B1 00 00 00 01 00"
                           "CC 00 00 00") +
                       hex(typeAndValues);
    putUint16(bytes, 2, bytes.size() - 24);
    putUint16(bytes, 42, bytes.size() - 44);
    return bytes;
}

QByteArray writeReply()
{
    return hex("70 00 1A 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
               "00 00 00 00 00 00 02 00 A1 00 04 00 01 00 FE 80 B1 00 06 00 01 00"
               "D3 00 00 00");
}

QT_WARNING_PUSH
QT_WARNING_DISABLE_DEPRECATED
int randomAt(int secondsOfDay)
{
    qsrand(static_cast<uint>(secondsOfDay));
    return qrand() % 65535;
}
QT_WARNING_POP

DriverTest::DriverTest() = default;
DriverTest::~DriverTest() = default;

void DriverTest::SetUp()
{
    captureMessages();
    holdClock(43200);
    resetDriver();
    registerHost();
}

void DriverTest::TearDown()
{
    EXPECT_TRUE(isFree(PLC_driver.queueMutex)) << "queueMutex left locked";
    EXPECT_TRUE(isFree(PLC_driver.dataMutex)) << "dataMutex left locked";
    EXPECT_TRUE(isFree(PLC_driver.stationMutex)) << "stationMutex left locked";
    EXPECT_TRUE(isFree(stationStoreMutex)) << "stationStoreMutex left locked";
    for (const QString& message : otherMessages)
        ADD_FAILURE() << "warning: " << message.toStdString();
    resetDriver();
    secondsSinceMidnight = realClock;
    releaseMessages();
}

void DriverTest::resetDriver()
{
    restartReplyCounter();
    PLC_driver.comInfo = nullptr;
    comInfoRecord() = COM_INFO();
    PLC_driver.readList.clear();
    PLC_driver.writeQueue.clear();
    PLC_driver.onceReadQueue.clear();
    PLC_driver.spareList.clear();
    PLC_driver.requests.clear();
    PLC_driver.extendVars.clear();
    PLC_driver.disabledStations.clear();
    PLC_driver.doneCallback = nullptr;
    PLC_driver.failCallback = nullptr;
    PLC_driver.lastVar = RW_VAR();
    PLC_driver.servedQueue = kServedNothingYet;
    PLC_driver.writesServed = 0;
    PLC_driver.onceReadsServed = 0;
    PLC_driver.scanPosition = 0;
    PLC_driver.lastFailed = false;
    PLC_driver.spareFlag = false;
    LB = LW = RWI = nullptr;
    plcAddList.clear();
    PLCDataStorage.clear();
    doneEvents.clear();
    failEvents.clear();
    queueLockHeld = true;
    debugMessages.clear();
    otherMessages.clear();
}

/// The count of short replies is hidden inside DataCom(); a reply that is long enough clears it.
void DriverTest::restartReplyCounter()
{
    PLC_driver.requests.clear();
    Protocol read;
    read.replyLength = -1;
    PLC_driver.requests.append(read);
    PLCDataStorage[0].handshakeDone = true;
    QByteArray longEnough(50, '\0');
    DataCom(&longEnough, longEnough.size());
}

void DriverTest::registerHost()
{
    comInfo = COM_INFO();
    SetComInfo(&comInfo);
    RegistCallBackFuncIntf(noteDone, noteFailed);
}

void DriverTest::passNames(const QList<varName>& names)
{
    PassVarName(&names);
}

void DriverTest::makeAllTagsArrays()
{
    passNames(QList<varName>() << knownTag("*", 2));
}

void DriverTest::holdClock(int secondsOfDay)
{
    heldSecondsOfDay = secondsOfDay;
    secondsSinceMidnight = heldClock;
}

void DriverTest::connectStation(int station, const char* sessionHandle, const char* connectionId,
                                quint16 sequenceCount)
{
    PLCTAGCOMMUNICATION& record = PLCDataStorage[station];
    record.handshakeDone = true;
    record.sequenceCount = sequenceCount;
    record.sessionHandle = hex(sessionHandle);
    record.connectionId = hex(connectionId);
}

void DriverTest::handshake(int station, const char* sessionHandle, const char* connectionId)
{
    ASSERT_TRUE(PLC_driver.requests.isEmpty()) << "a request is in flight";
    const QList<RW_VAR> reads = PLC_driver.readList;
    const QList<RW_VAR> writes = PLC_driver.writeQueue;
    const QList<RW_VAR> onceReads = PLC_driver.onceReadQueue;
    PLC_driver.readList = QList<RW_VAR>() << readVar("Any", station);
    PLC_driver.writeQueue.clear();
    PLC_driver.onceReadQueue.clear();

    const Protocol* request = ComCommunication();
    ASSERT_NE(nullptr, request);
    ASSERT_EQ(28, request->frameLength) << "station " << station << " needed no handshake";
    ASSERT_EQ(kOk, reply(registerSessionReply(sessionHandle)));
    request = ComCommunication();
    ASSERT_NE(nullptr, request);
    ASSERT_EQ(86, request->frameLength);
    ASSERT_EQ(kOk, reply(forwardOpenReply(connectionId, sessionHandle)));
    ASSERT_TRUE(PLCDataStorage[station].handshakeDone);

    PLC_driver.readList = reads;
    PLC_driver.writeQueue = writes;
    PLC_driver.onceReadQueue = onceReads;
}

QByteArray DriverTest::typeHeader(int station, const char* tag)
{
    return PLCDataStorage.value(station).tagTypeMap.value(text(tag));
}

QByteArray DriverTest::storedData(int station, const char* tag)
{
    return PLCDataStorage.value(station).tagDataMap.value(text(tag));
}

void DriverTest::setTypeHeader(int station, const char* tag, const char* headerHex)
{
    PLCDataStorage[station].tagTypeMap[text(tag)] = hex(headerHex);
}

void DriverTest::setStoredData(int station, const char* tag, const char* dataHex)
{
    PLCDataStorage[station].tagDataMap[text(tag)] = hex(dataHex);
}

Protocol* DriverTest::expectSent(const char* frameHex, const char* file, int line)
{
    const ::testing::ScopedTrace trace(file, line, "sent");
    Protocol* request = ComCommunication();
    if (request == nullptr) {
        ADD_FAILURE() << "nothing sent, expected " << frameHex;
        return nullptr;
    }
    EXPECT_EQ(hex(frameHex), request->frame);
    EXPECT_EQ(request->frame.size(), request->frameLength);
    return request;
}

void DriverTest::expectNothingSent(const char* file, int line)
{
    const ::testing::ScopedTrace trace(file, line, "nothing to send");
    const Protocol* request = ComCommunication();
    if (request != nullptr)
        ADD_FAILURE() << "sent " << spaced(request->frame).toStdString();
}

int DriverTest::reply(const char* replyHex)
{
    return reply(hex(replyHex));
}

int DriverTest::reply(const QByteArray& bytes)
{
    return reply(bytes, bytes.size());
}

int DriverTest::reply(const QByteArray& bytes, int reportedLength)
{
    QByteArray copy = bytes;
    const RW_VAR* outcome = DataCom(&copy, reportedLength);
    EXPECT_EQ(&PLC_driver.lastVar, outcome);
    return outcome != nullptr ? outcome->result : -1;
}

int DriverTest::answer(const QByteArray& bytes)
{
    EXPECT_EQ(kOk, reply(bytes)) << "the first call learns the length";
    return reply(bytes);
}

const std::vector<DoneEvent>& DriverTest::done()
{
    return doneEvents;
}

const std::vector<FailEvent>& DriverTest::failed()
{
    return failEvents;
}

bool DriverTest::callbacksHeldTheQueueLock()
{
    return queueLockHeld;
}

const QList<QString>& DriverTest::messages()
{
    return debugMessages;
}

void DriverTest::forgetMessages()
{
    debugMessages.clear();
}
