// Loads the library, drives it through its entry points, unloads it.

#include "loaded_driver.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

int doneCalls = 0;
int failCalls = 0;

void countDone(int, int, int, int)
{
    ++doneCalls;
}

void countFailed(void*, int, int)
{
    ++failCalls;
}

void discardMessage(QtMsgType, const char*)
{
}

QByteArray hex(const char* text)
{
    return QByteArray::fromHex(text);
}

QString text(const char* latin1)
{
    return QString::fromLatin1(latin1);
}

QByteArray registerSessionReply()
{
    return hex("65 00 04 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
               "01 00 00 00");
}

QByteArray forwardOpenReply()
{
    return hex("6F 00 2E 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
               "00 00 00 00 00 00 02 00 00 00 00 00 B2 00 1E 00 D4 00 00 00 AA BB CC DD"
               "01 00 FE 80 02 00 01 00 00 00 34 12 80 84 1E 00 80 84 1E 00 00 00");
}

/// An INT of the value 0x1234.
QByteArray intReply()
{
    return hex("70 00 1E 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
               "00 00 00 00 00 00 02 00 A1 00 04 00 01 00 FE 80 B1 00 0A 00 01 00"
               "CC 00 00 00 C3 00 34 12");
}

QByteArray writeReply()
{
    return hex("70 00 1A 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
               "00 00 00 00 00 00 02 00 A1 00 04 00 01 00 FE 80 B1 00 06 00 02 00"
               "D3 00 00 00");
}

int reply(const LoadedDriver& driver, QByteArray bytes)
{
    return driver.DataCom(&bytes, bytes.size())->result;
}

QByteArray nextFrame(const LoadedDriver& driver)
{
    const Protocol* request = driver.ComCommunication();
    return request != nullptr ? request->frame : QByteArray();
}

/// A host's life in short: settings, one variable, the handshake, a read, a write.
struct HostSession {
    COM_INFO comInfo;
    quint8 areas[12] = {};
    QByteArray readFrame;
    QByteArray value;
    RW_VAR outcome;

    void run(const LoadedDriver& driver)
    {
        comInfo.writeMode = 2;
        driver.SetComInfo(&comInfo);
        driver.RegistCallBackFuncIntf(countDone, countFailed);
        driver.FlashLocalRegister(areas, areas + 4, areas + 8);

        ASSERT_EQ(nullptr, driver.ComCommunication()) << "nothing is left of an earlier load";
        ASSERT_EQ(1, comInfo.scanDone);
        RW_VAR var;
        var.tagName = text("Counter");
        var.count = 1;
        ASSERT_EQ(1, driver.AddListReadVar(&var)) << "the list of an earlier load is gone";

        ASSERT_EQ(28, nextFrame(driver).size());
        ASSERT_EQ(kOk, reply(driver, registerSessionReply()));
        ASSERT_EQ(86, nextFrame(driver).size());
        ASSERT_EQ(kOk, reply(driver, forwardOpenReply()));

        readFrame = nextFrame(driver);
        ASSERT_EQ(kOk, reply(driver, intReply()));
        ASSERT_EQ(kOk, reply(driver, intReply()));
        ASSERT_EQ(1, driver.GetRegisterData(text("Counter"), 0, QString(), 0, &value, 1));

        ASSERT_EQ(1,
                  driver.SetRegisterData(text("Counter"), 0, QString(), 0, hex("78 56"), 1, 3, 4));
        ASSERT_EQ(68, nextFrame(driver).size());
        ASSERT_EQ(kOk, reply(driver, writeReply()));
        QByteArray bytes = writeReply();
        outcome = *driver.DataCom(&bytes, bytes.size());
    }

    void expectGoodValues() const
    {
        EXPECT_EQ(hex("70 00 28 00 11 22 33 44 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00"
                      "00 00 00 00 01 00 02 00 A1 00 04 00 AA BB CC DD B1 00 14 00 01 00"
                      "4C 05 91 07 43 6F 75 6E 74 65 72 00 01 00 00 00 00 00"),
                  readFrame);
        EXPECT_EQ(hex("34 12"), value);
        EXPECT_EQ(kOk, outcome.result);
        EXPECT_EQ(text("Counter"), outcome.tagName);
        EXPECT_EQ(3, outcome.hostArea);
        EXPECT_EQ(QByteArray(12, '\0'),
                  QByteArray(reinterpret_cast<const char*>(areas), sizeof(areas)));
    }
};

class LoadedLibrary : public ::testing::Test {
protected:
    void SetUp() override
    {
        doneCalls = 0;
        failCalls = 0;
        micro850::installMessageHandler(discardMessage);
    }

    void TearDown() override { micro850::installMessageHandler(nullptr); }

    /// A second file with the same content is a second library to the loader.
    static std::string copyInto(const QTemporaryDir& directory)
    {
        const QString copy = directory.path() + text("/libsecond.so");
        EXPECT_TRUE(QFile::copy(QString::fromLocal8Bit(MICRO850_LIBRARY), copy));
        return copy.toStdString();
    }
};

TEST_F(LoadedLibrary, OffersEveryEntryPointByItsPlainName)
{
    const LoadedDriver driver;
    EXPECT_TRUE(driver.isComplete());
}

TEST_F(LoadedLibrary, AnswersThroughEachEntryPoint)
{
    const LoadedDriver driver;
    ASSERT_TRUE(driver.isComplete());
    EXPECT_EQ(1, driver.QueryFinishFlag());
    EXPECT_EQ(-1, driver.StringAddressToInt(1, text("Tag")));
    EXPECT_EQ(-1, driver.PLCAddressChangeIntef());
    const QByteArray digits("123456789");
    const quint8* bytes = reinterpret_cast<const quint8*>(digits.constData());
    EXPECT_EQ(0x1DD, driver.CalSUM(bytes, 9));
    EXPECT_EQ(0x4B37, driver.CalCRC(bytes, 9));
    EXPECT_EQ(0x23, driver.CalLRC(bytes, 9));
    EXPECT_EQ(0x31, driver.CalXOR(bytes, 9));
    EXPECT_EQ(0xBB3D, driver.CRC16_IBM(bytes, 9));
    EXPECT_EQ('F', driver.DigitalToASCII(15));
    EXPECT_EQ(42, driver.ASCIIToDigital('a'));
    quint16 reversed = 0;
    driver.InvertUint16(&reversed, 0x8005);
    EXPECT_EQ(0xA001, reversed);

    varName known;
    known.name = text("*");
    known.kind = 2;
    const QList<varName> names = QList<varName>() << known;
    driver.PassVarName(&names);
    ADDRESS_RECORD address;
    address.tagName = text("Arr");
    address.count = 40;
    const QList<ADDRESS_RECORD*> addresses = QList<ADDRESS_RECORD*>() << &address;
    EXPECT_EQ(3, driver.ReCreatReadVarList(&addresses));
    RW_VAR var;
    EXPECT_EQ(1, driver.AddListOnceReadVar(&var, 0));
    EXPECT_EQ(1, driver.AddListWriteVar(&var, 0));
    driver.EnCommStation(0, 0);
    EXPECT_EQ(nullptr, driver.ComCommunication()) << "the station is switched off";
    driver.EnCommStation(0, 1);
}

TEST_F(LoadedLibrary, EachOfTwoHundredLoadsStartsAfreshAndIsGoneAfterwards)
{
    const std::string file = QFileInfo(text(MICRO850_LIBRARY)).canonicalFilePath().toStdString();
    for (int round = 0; round < 200 && !HasFailure(); ++round) {
        HostSession session;
        {
            const LoadedDriver driver;
            ASSERT_TRUE(driver.isComplete());
            ASSERT_TRUE(isMapped(file));
            session.run(driver);
        }
        ASSERT_FALSE(isMapped(file)) << "still loaded after round " << round;
        session.expectGoodValues();
        EXPECT_EQ(round + 1, doneCalls);
    }
    EXPECT_EQ(0, failCalls);
}

// AddressSanitizer looks for leaks by itself when the process ends, and keeps records of every load.
#if !defined(__SANITIZE_ADDRESS__)
TEST_F(LoadedLibrary, LoadsLeaveNoMemoryBehind)
{
    const auto allocatedAfter = [](int rounds) {
        for (int round = 0; round < rounds; ++round) {
            const LoadedDriver driver;
            HostSession().run(driver);
        }
        return mallinfo2().uordblks;
    };
    const size_t early = allocatedAfter(100); // the allocator's own caches have filled by then
    const size_t late = allocatedAfter(200);
    EXPECT_LT(late, early + 200 * 8) << "less than the smallest block per load";
}
#endif

TEST_F(LoadedLibrary, UnloadingInTheMiddleOfATransactionCallsNobodyBack)
{
    HostSession session;
    session.comInfo.hostHandle = 99;
    {
        const LoadedDriver driver;
        session.run(driver);
        driver.SetRegisterData(text("Counter"), 0, QString(), 0, hex("01 00"), 1, 3, 4);
        ASSERT_NE(nullptr, driver.ComCommunication());
        doneCalls = 0;
        session.comInfo.framesAnswered = 77;
    }
    EXPECT_EQ(0, doneCalls);
    EXPECT_EQ(0, failCalls);
    EXPECT_EQ(77, session.comInfo.framesAnswered);
    EXPECT_EQ(99, session.comInfo.hostHandle);
}

TEST_F(LoadedLibrary, TwoCopiesInOneProcessShareNothing)
{
    const QTemporaryDir directory;
    const LoadedDriver first;
    const LoadedDriver second(copyInto(directory));
    ASSERT_TRUE(first.isComplete());
    ASSERT_TRUE(second.isComplete());
    HostSession firstSession, secondSession;
    firstSession.run(first);
    secondSession.run(second);
    firstSession.expectGoodValues();
    secondSession.expectGoodValues();
    RW_VAR var;
    EXPECT_EQ(2, first.AddListReadVar(&var));
    EXPECT_EQ(3, first.AddListReadVar(&var));
    EXPECT_EQ(2, second.AddListReadVar(&var));
}

TEST_F(LoadedLibrary, EachLoadStartsAFreshLogFile)
{
    const QTemporaryDir directory;
    const pid_t child = fork();
    if (child == 0) {
        if (chdir(directory.path().toLocal8Bit().constData()) != 0)
            _exit(1);
        LoadedDriver().myMsgOutput(QtDebugMsg, "of the first load");
        LoadedDriver().myMsgOutput(QtDebugMsg, "of the second load");
        _exit(0);
    }
    int status = -1;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    ASSERT_EQ(0, status);
    QFile log(directory.path() + text("/debug.txt"));
    ASSERT_TRUE(log.open(QIODevice::ReadOnly));
    const QByteArray written = log.readAll();
    EXPECT_TRUE(written.endsWith(": Debug:\tof the second load)\r\n")) << written.constData();
    EXPECT_EQ(1, written.count('\n'));
}

} // namespace
