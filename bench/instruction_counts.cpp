// What one call costs, in instructions and heap allocations.
//
//   instruction_counts transactions   one read and one write
//   instruction_counts all            these, storing and fetching, and reads of ever larger drivers
//
// Run it under callgrind with --collect-atstart=no: each measurement is dumped under its name, which
// read_callgrind reads. Without callgrind it prints the allocations alone.

#include "Device_Driver.h"
#include "Func_DealData.h"
#include "allocation_counter.h"
#include "scenario.h"
#include "tagcommunication.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <valgrind/callgrind.h>

namespace {

const int kRepeats = 100;

/// Runs an action often, counting only it; prepare runs before each time and is not counted.
template <typename Prepare, typename Action>
void measure(const std::string& name, Prepare prepare, Action action)
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
    CALLGRIND_DUMP_STATS_AT(name.c_str());
    std::printf("%s repeats %d allocations %.2f\n", name.c_str(), kRepeats,
                double(allocated) / kRepeats);
}

template <typename Action>
void measure(const std::string& name, Action action)
{
    measure(
        name, [] {}, action);
}

void measureRead(int variables, int stations)
{
    bench::Scenario scenario(variables, stations);
    QByteArray reply;
    const std::string name = "read_" + std::to_string(variables) + "_variables_" +
                             std::to_string(stations) + "_stations";
    measure(
        name, [&] { reply = scenario.readReply(); }, [&] { bench::transact(&reply); });
}

void measureWrite()
{
    bench::Scenario scenario(10, 1);
    const QString tag = bench::Scenario::tagName(3);
    QByteArray reply;
    PLC_driver.readList.clear();
    measure(
        "write",
        [&] {
            PLC_driver.writesServed = 0;
            reply = scenario.writeReply();
        },
        [&] { bench::writeOnce(tag, &reply); });
}

void measureStore(int valueBytes)
{
    bench::Scenario scenario(10, 1);
    scenario.setValueBytes(valueBytes);
    QByteArray reply = scenario.readReply();
    ComCommunication();
    measure("store_" + std::to_string(valueBytes) + "_bytes", [&] { SaveToLocalDataErea(&reply); });
}

/// An INT array of 10,000 elements, fetched whole and by one register, beside a copy of its bytes.
void measureFetch()
{
    const unsigned elements = 10000;
    bench::Scenario scenario(10, 1);
    const QString tag = scenario.addIntArray(elements);
    const QString index = QStringLiteral("0");
    QByteArray out;
    measure("fetch_1_register", [&] { GetRegisterData(tag, 0, index, 0, &out, 1); });
    measure("fetch_10000_registers", [&] { GetRegisterData(tag, 0, index, 0, &out, elements); });
    const QByteArray image(2 * elements, '\x11');
    measure("copy_20000_bytes", [&] {
        out.clear();
        out.resize(image.size());
        std::memcpy(out.data(), image.constData(), static_cast<size_t>(image.size()));
    });
}

} // namespace

int main(int argc, char** argv)
{
    const std::string what = argc == 2 ? argv[1] : "";
    if (what != "transactions" && what != "all") {
        std::fputs("usage: instruction_counts transactions|all\n", stderr);
        return 2;
    }
    measureRead(10, 1);
    measureWrite();
    if (what == "transactions")
        return 0;
    for (int variables : {100, 1000, 10000, 100000})
        measureRead(variables, 1);
    for (int stations : {10, 100, 1000})
        measureRead(1000, stations);
    measureRead(100000, 1000);
    measureStore(4);
    measureStore(480);
    measureFetch();
    return 0;
}
