// What one call costs, in instructions and heap allocations. Run under callgrind with
// --collect-atstart=no: each measurement is dumped under its name, which scripts/bench reads. Without
// callgrind it prints the allocations alone.

#include "Device_Driver.h"
#include "Func_DealData.h"
#include "allocation_counter.h"
#include "scenario.h"
#include "tagcommunication.h"

#include <cstdio>
#include <cstring>
#include <valgrind/callgrind.h>

namespace {

const int kRepeats = 100;

/// Runs an action often, counting only it; prepare runs before each time and is not counted.
template <typename Prepare, typename Action>
void measure(const char* name, Prepare prepare, Action action)
{
    prepare();
    action(); // the first time fills caches of Qt and of the C library
    long allocated = 0;
    CALLGRIND_ZERO_STATS;
    for (int i = 0; i < kRepeats; ++i) {
        prepare();
        const long before = bench::allocations();
        CALLGRIND_TOGGLE_COLLECT;
        action();
        CALLGRIND_TOGGLE_COLLECT;
        allocated += bench::allocations() - before;
    }
    CALLGRIND_DUMP_STATS_AT(name);
    std::printf("%s allocations %.2f\n", name, double(allocated) / kRepeats);
}

template <typename Action>
void measure(const char* name, Action action)
{
    measure(
        name, [] {}, action);
}

/// One cyclic read as a host makes it, its reply ready.
void measureRead(const char* name, int variables, int stations)
{
    bench::Scenario scenario(variables, stations);
    QByteArray reply;
    measure(
        name,
        [&] {
            reply = scenario.answer(*ComCommunication());
            PLC_driver.requests.clear();
        },
        [&] {
            ComCommunication();
            DataCom(&reply, reply.size());
            DataCom(&reply, reply.size());
        });
}

void measureWrite()
{
    bench::Scenario scenario(10, 1);
    const QString tag = bench::Scenario::tagName(3);
    const QString index;
    const QByteArray value("\x07\x00\x00\x00", 4);
    QByteArray reply;
    PLC_driver.readList.clear();
    measure(
        "write",
        [&] {
            PLC_driver.writesServed = 0;
            Protocol write;
            write.replyLength = -1;
            write.frame = QByteArray(64, '\x53');
            reply = scenario.answer(write);
        },
        [&] {
            SetRegisterData(tag, 4, index, 0, value, 2, 1, 2);
            ComCommunication();
            DataCom(&reply, reply.size());
            DataCom(&reply, reply.size());
        });
}

void storeReply(bench::Scenario& scenario, const char* name, int valueBytes)
{
    scenario.setValueBytes(valueBytes);
    QByteArray reply = scenario.answer(*ComCommunication());
    measure(name, [&] { SaveToLocalDataErea(&reply); });
    PLC_driver.requests.clear();
}

void measureStore()
{
    bench::Scenario scenario(10, 1);
    storeReply(scenario, "store_4_bytes", 4);
    storeReply(scenario, "store_480_bytes", 480);
}

/// An INT array image of 10,000 elements, fetched whole and by one register.
void measureFetch()
{
    bench::Scenario scenario(10, 1);
    const QString tag = QStringLiteral("Recipe");
    PLCTAGCOMMUNICATION& station = PLCDataStorage[0];
    station.tagTypeMap[tag] = QByteArray::fromHex("03c300ff");
    station.tagDataMap[tag] = QByteArray(20000, '\x11');
    varName array;
    array.name = QStringLiteral("no tag bears this name");
    array.kind = 2;
    const QList<varName> names = {array};
    PassVarName(&names);

    const QString index = QStringLiteral("0");
    QByteArray out;
    measure("fetch_1_register", [&] { GetRegisterData(tag, 0, index, 0, &out, 1); });
    measure("fetch_10000_registers", [&] { GetRegisterData(tag, 0, index, 0, &out, 10000); });
    const QByteArray image(20000, '\x11');
    measure("copy_20000_bytes", [&] {
        out.clear();
        out.resize(image.size());
        std::memcpy(out.data(), image.constData(), static_cast<size_t>(image.size()));
    });
}

} // namespace

int main(int argc, char** argv)
{
    const bool large = argc < 2 || std::strcmp(argv[1], "--small") != 0;
    measureRead("read_10_variables_1_station", 10, 1);
    if (large)
        measureRead("read_100000_variables_1000_stations", 100000, 1000);
    measureWrite();
    measureStore();
    measureFetch();
    return 0;
}
