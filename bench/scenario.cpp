// The controller's side is as cheap as it can be: ready-made replies, one per kind of request.

#include "scenario.h"

#include "Device_Driver.h"
#include "Func_Initi.h"
#include "tagcommunication.h"
#include "wire.h"

namespace bench {

namespace {

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
    wire::putU16(wire::mutableBytes(reply) + 2, quint32(reply.size() - 24));
    wire::putU16(wire::mutableBytes(reply) + 42, quint32(reply.size() - 44));
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

    varName single;
    single.name = QStringLiteral("no tag bears this name");
    single.kind = 1;
    const QList<varName> names = {single};
    PassVarName(&names);
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
    if (request.replyLength == 28)
        return registerSessionReply();
    if (request.replyLength == 70)
        return forwardOpenReply();
    const bool isRead = request.frame.at(46) == wire::kReadTag;
    return isRead ? connectedReply('\xcc', bytes("c400") + QByteArray(valueBytes_, '\x2a'))
                  : connectedReply('\xd3', QByteArray());
}

void Scenario::run(int count)
{
    for (int ended = 0; ended < count;) {
        const Protocol* request = ComCommunication();
        const bool isData = request->replyLength == -1;
        QByteArray reply = answer(*request);
        DataCom(&reply, reply.size());
        if (isData) {
            DataCom(&reply, reply.size());
            ++ended;
        }
    }
}

} // namespace bench
