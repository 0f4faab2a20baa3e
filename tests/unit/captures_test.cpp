// Replies recorded from real controllers, fed to the handshake, the dispatch and the storage. The
// recordings stand beside the project; without them these tests are skipped.

#include "driver_fixture.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <vector>

namespace {

struct Recording {
    std::string id;
    QString kind;
    QString status;
    QByteArray bytes;
    bool isReply;
};

QString capturesPath()
{
    const QString asked = qEnvironmentVariable("MICRO850_CAPTURES");
    return asked.isEmpty() ? QString::fromUtf8(MICRO850_CAPTURES) : asked;
}

class Captures : public DriverTest {
protected:
    void SetUp() override
    {
        DriverTest::SetUp();
        QFile file(capturesPath());
        if (!file.open(QIODevice::ReadOnly))
            GTEST_SKIP() << "no recorded replies at " << capturesPath().toStdString()
                         << "; name the file in MICRO850_CAPTURES";
        const QJsonArray list = QJsonDocument::fromJson(file.readAll()).array();
        for (const QJsonValue& value : list)
            recordings_.push_back(fromJson(value.toObject()));
        ASSERT_FALSE(recordings_.empty());
    }

    std::vector<Recording> replies(const QStringList& kinds = QStringList()) const
    {
        std::vector<Recording> found;
        for (const Recording& recording : recordings_)
            if (recording.isReply && (kinds.isEmpty() || kinds.contains(recording.kind)))
                found.push_back(recording);
        return found;
    }

    QByteArray bytesOf(const char* id) const
    {
        for (const Recording& recording : recordings_)
            if (recording.id == id)
                return recording.bytes;
        ADD_FAILURE() << "no recording " << id;
        return QByteArray();
    }

    void disconnected(const char* tag)
    {
        PLCDataStorage.clear();
        PLC_driver.requests.clear();
        PLC_driver.readList = QList<RW_VAR>() << readVar(tag, 1);
    }

    void registered(const char* tag)
    {
        disconnected(tag);
        ASSERT_EQ(28, ComCommunication()->frameLength);
        ASSERT_EQ(kOk, reply(registerSessionReply("11 22 33 44")));
        ASSERT_EQ(86, ComCommunication()->frameLength);
    }

    void reading(const char* tag)
    {
        disconnected(tag);
        connectStation(1);
        ASSERT_NE(nullptr, ComCommunication());
        ASSERT_EQ(-1, PLC_driver.requests.first().replyLength);
    }

private:
    static Recording fromJson(const QJsonObject& object)
    {
        Recording recording;
        recording.id = object.value(text("id")).toString().toStdString();
        recording.kind = object.value(text("kind")).toString();
        recording.status = object.value(text("status")).toString();
        recording.bytes = hex(object.value(text("hex")).toString().toLatin1().constData());
        recording.isReply = object.value(text("direction")).toString() == text("reply");
        EXPECT_EQ(object.value(text("length")).toInt(), recording.bytes.size()) << recording.id;
        return recording;
    }

    std::vector<Recording> recordings_;
};

TEST_F(Captures, RegisterSessionRepliesGiveTheirSessionHandle)
{
    const std::vector<Recording> accepted = replies({text("RegisterSession")});
    ASSERT_FALSE(accepted.empty());
    for (const Recording& recording : accepted) {
        disconnected("Any");
        ASSERT_EQ(28, ComCommunication()->frameLength);
        EXPECT_EQ(kOk, reply(recording.bytes)) << recording.id;
        EXPECT_EQ(recording.bytes.mid(4, 4), PLCDataStorage.value(1).sessionHandle) << recording.id;
        EXPECT_EQ(recording.bytes.mid(4, 4), ComCommunication()->frame.mid(4, 4)) << recording.id;
    }
}

TEST_F(Captures, ForwardOpenRepliesConnectOrAreRefused)
{
    int accepted = 0;
    int refused = 0;
    for (const Recording& recording : replies({text("ForwardOpen"), text("LargeForwardOpen")})) {
        registered("Any");
        if (recording.status == text("0x00")) {
            ++accepted;
            EXPECT_EQ(kOk, reply(recording.bytes)) << recording.id;
            EXPECT_TRUE(PLCDataStorage.value(1).handshakeDone) << recording.id;
            EXPECT_EQ(recording.bytes.mid(44, 4), ComCommunication()->frame.mid(36, 4))
                << recording.id;
        } else {
            ++refused;
            EXPECT_EQ(kHandshakeRefused, reply(recording.bytes)) << recording.id;
            EXPECT_FALSE(PLCDataStorage.value(1).handshakeDone) << recording.id;
            EXPECT_EQ(1, PLC_driver.requests.size()) << recording.id;
        }
    }
    EXPECT_GT(accepted, 0);
    EXPECT_GT(refused, 0);
}

TEST_F(Captures, ConnectedReadRepliesAreStored)
{
    const std::vector<Recording> reals = replies({text("ReadTag")});
    ASSERT_FALSE(reals.empty());
    for (const Recording& recording : reals) {
        reading("Position");
        EXPECT_EQ(kOk, answer(recording.bytes)) << recording.id;
        EXPECT_EQ(hex("04 ca 00 ff"), typeHeader(1, "Position")) << recording.id;
        EXPECT_EQ(hex("00 00 00 00"), storedData(1, "Position")) << recording.id;
        QByteArray out;
        EXPECT_EQ(1, GetRegisterData(text("Position"), 0, QString(), 1, &out, 2));
        EXPECT_EQ(hex("00 00 00 00"), out) << recording.id;
    }
}

TEST_F(Captures, ConnectedErrorRepliesOfFiftyBytesAndMoreAreTakenForData)
{
    const std::vector<Recording> errors = replies({text("Service0x4C"), text("GetAttributeList")});
    ASSERT_FALSE(errors.empty());
    for (const Recording& recording : errors) {
        ASSERT_GE(recording.bytes.size(), 50) << recording.id;
        reading("Any");
        EXPECT_EQ(kOk, answer(recording.bytes)) << recording.id;
        const QByteArray typeBytes = (recording.bytes.mid(50, 2) + hex("00 00")).left(2);
        EXPECT_EQ(hex("02") + typeBytes + hex("ff"), typeHeader(1, "Any")) << recording.id;
        EXPECT_FALSE(PLCDataStorage.value(1).tagDataMap.contains(text("Any"))) << recording.id;
    }
}

TEST_F(Captures, AReadBeyondTheEndLeavesAHeaderOfItsExtendedStatus)
{
    const QByteArray bytes = bytesOf("clgx-w3h-4c-ff2105");
    reading("Any");
    EXPECT_EQ(kOk, answer(bytes));
    EXPECT_EQ(hex("02 05 21 ff"), typeHeader(1, "Any"));
}

TEST_F(Captures, IntegersFillAnArrayFromItsFirstElement)
{
    const QByteArray typeAndValues = bytesOf("clgx-cpppo-rfrag-int20-reply").mid(44);
    ASSERT_EQ(2 + 19 * 2, typeAndValues.size());
    makeAllTagsArrays();
    disconnected("SCADA");
    connectStation(1);
    setTypeHeader(1, "SCADA", "03 c3 00 ff");
    PLC_driver.readList = QList<RW_VAR>() << arrayVar("SCADA", 2, 20, 1);
    ComCommunication();
    EXPECT_EQ(kOk, answer(readReply(typeAndValues.toHex().constData())));
    EXPECT_EQ(hex("00 00 00 00") + typeAndValues.mid(2), storedData(1, "SCADA"));
    QByteArray out;
    EXPECT_EQ(1, GetRegisterData(text("SCADA"), 0, text("3"), 1, &out, 2));
    EXPECT_EQ(hex("08 00 03 00"), out) << "the second and third value";
}

TEST_F(Captures, EveryReplyIsJudgedByItsLengthAtEveryStep)
{
    for (const Recording& recording : replies()) {
        const int length = recording.bytes.size();
        disconnected("Any");
        ASSERT_EQ(28, ComCommunication()->frameLength);
        EXPECT_EQ(length == 28 ? kOk : kHandshakeRefused, reply(recording.bytes)) << recording.id;
        registered("Any");
        EXPECT_EQ(length == 70 ? kOk : kHandshakeRefused, reply(recording.bytes)) << recording.id;
        registered("Any"); // so that refusals and short replies are counted from 0 again
        reading("Any");
        EXPECT_EQ(length >= 50 ? kOk : kResend, reply(recording.bytes)) << recording.id;
    }
}

TEST_F(Captures, OurRegisterSessionIsTheOneThatControllersHaveAnswered)
{
    HandshakeFunction(1);
    EXPECT_EQ(bytesOf("clgx-cpppo-register-req"), PLC_driver.requests.at(0).frame);
}

TEST_F(Captures, OurForwardOpenHasTheShapeThatControllersHaveAnswered)
{
    HandshakeFunction(1);
    const QByteArray ours = PLC_driver.requests.at(1).frame;
    const QByteArray theirs = bytesOf("mlgx1400-iti-fo-req");
    ASSERT_EQ(theirs.size(), ours.size());
    EXPECT_EQ(theirs.left(4), ours.left(4)) << "command and length";
    EXPECT_EQ(theirs.mid(30, 16), ours.mid(30, 16)) << "items, service, path";
    EXPECT_EQ(theirs.mid(80), ours.mid(80)) << "transport and connection path";
}

} // namespace
