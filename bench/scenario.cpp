// The controller's side is as cheap as it can be: ready-made replies, one per kind of request.

#include "scenario.h"

#include "Device_Driver.h"
#include "Func_Initi.h"
#include "tagcommunication.h"
#include "wire.h"

#include <algorithm>
#include <numeric>
#include <random>

namespace bench {

namespace {

const int kArrayKind = 2; // varName::kind
const int kSingleKind = 1;

QByteArray bytes(const char* hex)
{
    return QByteArray::fromHex(hex);
}

void resetDriver()
{
    PLC_driver.readList.clear();
    PLC_driver.writeQueue.clear();
    PLC_driver.onceReadQueue.clear();
    PLC_driver.requests.clear();
    PLC_driver.writesServed = 0;
    PLC_driver.onceReadsServed = 0;
    PLCDataStorage.clear();
    plcAddList.clear();
}

/// The driver treats every tag as the kind says: the list holds one name, which no tag bears.
void treatAllTagsAs(int kind)
{
    varName other;
    other.name = QStringLiteral("no tag bears this name");
    other.kind = kind;
    const QList<varName> names = {other};
    PassVarName(&names);
}

QByteArray registerSessionReply()
{
    return bytes("65000400112233440000000000000000000000000000000001000000");
}

QByteArray forwardOpenReply()
{
    return bytes("6f002e00112233440000000000000000000000000000000000000000000002000000"
                 "0000b2001e00d4000000aabbccdd0100fe80020050f80000000080841e0080841e000000");
}

QByteArray connectedReply(char service, const QByteArray& body)
{
    QByteArray reply = bytes("7000000011223344000000000000000000000000000000000000000000000200a100"
                             "04000100fe80b10000000100");
    reply.append(service).append(3, '\0').append(body);
    wire::putU16(wire::mutableBytes(reply) + wire::kLength,
                 quint32(reply.size() - wire::kEncapsulationHeaderSize));
    wire::putU16(wire::mutableBytes(reply) + wire::kConnectedItemLength,
                 quint32(reply.size() - wire::kSequenceCount));
    return reply;
}

} // namespace

Scenario::Scenario(int variables, int stations) : stations_(stations)
{
    resetDriver();
    comInfo_.multiStation = 1;
    comInfo_.writeMode = 2;
    comInfo_.retryLimit = 3;
    SetComInfo(&comInfo_);

    treatAllTagsAs(kSingleKind);
    for (int i = 0; i < variables; ++i) {
        RW_VAR var;
        var.tagName = tagName(i);
        var.station = stationOf(i);
        var.count = 1;
        updateRwVar(&var);
        AddListReadVar(&var);
    }
    run(variables);
}

Scenario::~Scenario()
{
    resetDriver();
    SetComInfo(nullptr);
}

QString Scenario::tagName(int variable)
{
    return QStringLiteral("Line_%1_Value").arg(variable, 6, 10, QLatin1Char('0'));
}

QByteArray Scenario::answer(const Protocol& request) const
{
    if (request.replyLength == wire::kRegisterSessionReplyLength)
        return registerSessionReply();
    if (request.replyLength == wire::kForwardOpenReplyLength)
        return forwardOpenReply();
    return request.frame.at(wire::kService) == wire::kReadTag ? readReply() : writeReply();
}

QByteArray Scenario::readReply() const
{
    return connectedReply('\xcc', bytes("c400") + QByteArray(valueBytes_, '\x2a'));
}

QByteArray Scenario::writeReply() const
{
    return connectedReply('\xd3', QByteArray());
}

void Scenario::run(int count)
{
    for (int ended = 0; ended < count;) {
        const Protocol* request = ComCommunication();
        const bool isData = request->replyLength == kReplyLengthUnknown;
        QByteArray reply = answer(*request);
        DataCom(&reply, reply.size());
        if (isData) {
            DataCom(&reply, reply.size());
            ++ended;
        }
    }
}

QString Scenario::addIntArray(int elements)
{
    const QString name = QStringLiteral("Recipe");
    PLCTAGCOMMUNICATION& station = PLCDataStorage[0];
    station.tagTypeMap[name] = bytes("03c300ff");
    station.tagDataMap[name] = QByteArray(2 * elements, '\x11');
    treatAllTagsAs(kArrayKind);
    return name;
}

void transact(QByteArray* reply)
{
    ComCommunication();
    DataCom(reply, reply->size());
    DataCom(reply, reply->size());
}

void writeOnce(const QString& tag, QByteArray* reply)
{
    static const QString index;
    static const QByteArray value("\x07\x00\x00\x00", 4);
    SetRegisterData(tag, 4, index, 0, value, 2, 1, 2);
    transact(reply);
}

ShuffledArray::ShuffledArray(int elements) : records_(static_cast<size_t>(elements))
{
    std::vector<int> indexes(records_.size());
    std::iota(indexes.begin(), indexes.end(), 0);
    std::shuffle(indexes.begin(), indexes.end(), std::mt19937(1));
    const QString name = QStringLiteral("Recipe");
    for (size_t i = 0; i < records_.size(); ++i) {
        records_[i].tagName = name;
        records_[i].indexText = QString::number(indexes[i]);
        records_[i].count = 1;
        addresses_.append(&records_[i]);
    }
    treatAllTagsAs(kArrayKind);
}

} // namespace bench
