// Time by size: frame build, reply store, value fetch, list rebuild.

#include "Device_Driver.h"
#include "Func_DealData.h"
#include "Func_Read.h"
#include "scenario.h"

#include <benchmark/benchmark.h>

namespace {

/// A Read Tag request for a name of so many characters.
void buildReadFrame(benchmark::State& state)
{
    const bench::Scenario scenario(10, 1);
    RW_VAR var;
    var.tagName = QString(static_cast<int>(state.range(0)), QLatin1Char('n'));
    var.count = 1;
    qint64 bytes = 0;
    for (auto _ : state) {
        ReadRegister(&var);
        bytes += PLC_driver.requests.at(0).frameLength;
        PLC_driver.requests.removeFirst();
    }
    state.SetItemsProcessed(static_cast<qint64>(state.iterations()));
    state.SetBytesProcessed(bytes);
}
BENCHMARK(buildReadFrame)->Arg(4)->Arg(16)->Arg(64)->Arg(255);

/// The values of one reply into a tag's image.
void storeReply(benchmark::State& state)
{
    bench::Scenario scenario(10, 1);
    scenario.setValueBytes(static_cast<int>(state.range(0)));
    QByteArray reply = scenario.readReply();
    ComCommunication();
    for (auto _ : state)
        SaveToLocalDataErea(&reply);
    state.SetItemsProcessed(static_cast<qint64>(state.iterations()));
    state.SetBytesProcessed(static_cast<qint64>(state.iterations()) * state.range(0));
}
BENCHMARK(storeReply)->Arg(4)->Arg(32)->Arg(128)->Arg(480);

/// So many 16-bit registers of an INT array.
void fetchValue(benchmark::State& state)
{
    const unsigned registers = static_cast<unsigned>(state.range(0));
    bench::Scenario scenario(10, 1);
    const QString tag = scenario.addIntArray(10000);
    const QString index;
    QByteArray out;
    for (auto _ : state) {
        GetRegisterData(tag, 0, index, 0, &out, registers);
        benchmark::DoNotOptimize(out.constData());
    }
    state.SetItemsProcessed(static_cast<qint64>(state.iterations()));
    state.SetBytesProcessed(static_cast<qint64>(state.iterations()) * 2 * registers);
}
BENCHMARK(fetchValue)->RangeMultiplier(10)->Range(1, 10000);

/// The read list from so many shuffled addresses of one array.
void rebuildReadList(benchmark::State& state)
{
    const bench::Scenario scenario(1, 1);
    const bench::ShuffledArray array(static_cast<int>(state.range(0)));
    for (auto _ : state)
        ReCreatReadVarList(&array.addresses());
    state.SetItemsProcessed(static_cast<qint64>(state.iterations()) * state.range(0));
}
BENCHMARK(rebuildReadList)->RangeMultiplier(10)->Range(10, 100000)->Unit(benchmark::kMicrosecond);

/// One whole read transaction of a driver with so many variables on so many stations.
void readTransaction(benchmark::State& state)
{
    bench::Scenario scenario(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    QByteArray reply = scenario.readReply();
    for (auto _ : state)
        bench::transact(&reply);
    state.SetItemsProcessed(static_cast<qint64>(state.iterations()));
}
BENCHMARK(readTransaction)
    ->Args({10, 1})
    ->Args({1000, 1})
    ->Args({1000, 1000})
    ->Args({100000, 1})
    ->Args({100000, 1000});

} // namespace
