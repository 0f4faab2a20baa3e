// How long each call holds the locks that screens meet: PLC_driver.dataMutex and stationStoreMutex.
// Every time one of them is held is a dump of its own, named MUTEX:CALL:VARIABLES; see read_callgrind.

#include "Device_Driver.h"
#include "Func_Initi.h"
#include "scenario.h"
#include "tagcommunication.h"
#include "watched_mutex.h"

#include <cstdio>
#include <functional>
#include <string>

namespace {

const int kRebuildSamples = 10;

/// One call of the library with what has to come before it, made anew for each mutex.
struct Call {
    const char* name;
    std::function<void()> prepare;
    std::function<void()> run;
};

void watch(const QMutex& mutex, const char* mutexName, const Call& call, int variables,
           int interval = 1)
{
    call.prepare();
    bench::MutexWatch watching(
        mutex, std::string(mutexName) + ":" + call.name + ":" + std::to_string(variables),
        interval);
    call.run();
    std::printf("%s:%s:%d held %d\n", mutexName, call.name, variables, watching.timesHeld());
}

void watchBoth(const Call& call, int variables, int storeInterval = 1)
{
    call.prepare();
    call.run(); // once unwatched: what is allocated once is allocated now
    watch(PLC_driver.dataMutex, "dataMutex", call, variables);
    watch(stationStoreMutex, "stationStoreMutex", call, variables, storeInterval);
}

/// All tags on one station: the largest maps that so many variables can make.
void watchCycle(int variables)
{
    bench::Scenario scenario(variables, 1);
    QByteArray reply;
    QByteArray nothing;
    const auto drop = [] { PLC_driver.requests.clear(); };
    const auto ask = [&] {
        drop();
        reply = scenario.answer(*ComCommunication());
    };
    const auto learnLength = [&] {
        ask();
        DataCom(&reply, reply.size());
    };
    watchBoth({"ComCommunication_read", drop, [] { ComCommunication(); }}, variables);
    watchBoth({"DataCom_length", ask, [&] { DataCom(&reply, reply.size()); }}, variables);
    watchBoth({"DataCom_values_4_bytes", learnLength, [&] { DataCom(&reply, reply.size()); }},
              variables);
    scenario.setValueBytes(480);
    watchBoth({"DataCom_values_480_bytes", learnLength, [&] { DataCom(&reply, reply.size()); }},
              variables);
    drop();
}

void watchHostCalls(int variables)
{
    bench::Scenario scenario(variables, 1);
    const QString tag = bench::Scenario::tagName(variables / 2);
    const QByteArray value("\x07\x00\x00\x00", 4);
    QByteArray out;
    RW_VAR var;
    var.tagName = tag;
    const auto nothing = [] {};
    watchBoth({"SetRegisterData", nothing,
               [&] { SetRegisterData(tag, 4, QString(), 0, value, 2, 1, 2); }},
              variables);
    watchBoth({"AddListWriteVar", nothing, [&] { AddListWriteVar(&var, 0); }}, variables);
    watchBoth({"AddListOnceReadVar", nothing, [&] { AddListOnceReadVar(&var, 0); }}, variables);
    watchBoth({"EnCommStation", nothing, [&] { EnCommStation(0, 1); }}, variables);
    const auto askForWrite = [] {
        PLC_driver.requests.clear();
        PLC_driver.writesServed = 0;
    };
    watchBoth({"ComCommunication_write", askForWrite, [] { ComCommunication(); }}, variables);
    PLC_driver.requests.clear();
    PLC_driver.writeQueue.clear();

    watchBoth({"GetRegisterData_1_register", nothing,
               [&] { GetRegisterData(tag, 0, QString(), 0, &out, 1); }},
              variables);
    const QString array = scenario.addIntArray(10000);
    watchBoth({"GetRegisterData_10000_registers", nothing,
               [&] { GetRegisterData(array, 0, QString(), 0, &out, 10000); }},
              variables);
}

/// A read that fails past the retry limit: the station's session and all its tags are forgotten.
/// After it the store is all but empty, so each mutex gets a driver of its own.
void watchDroppedSession(int variables, const QMutex& mutex, const char* mutexName)
{
    bench::Scenario scenario(variables, 1);
    QByteArray reply;
    QByteArray nothing;
    watch(mutex, mutexName,
          {"DataCom_failure",
           [&] {
               scenario.comInfo().retryLimit = 0;
               reply = scenario.answer(*ComCommunication());
               DataCom(&reply, reply.size());
           },
           [&] { DataCom(&nothing, 0); }},
          variables);
    watch(mutex, mutexName, {"ComCommunication_handshake", [] {}, [] { ComCommunication(); }},
          variables);
    watch(mutex, mutexName,
          {"DataCom_RegisterSession", [&] { reply = scenario.answer(*ComCommunication()); },
           [&] { DataCom(&reply, reply.size()); }},
          variables);
    watch(mutex, mutexName,
          {"DataCom_ForwardOpen", [&] { reply = scenario.answer(*ComCommunication()); },
           [&] { DataCom(&reply, reply.size()); }},
          variables);
}

void watchRebuild(int variables)
{
    bench::Scenario scenario(variables, 1);
    const bench::ShuffledArray array(variables);
    watchBoth({"ReCreatReadVarList", [] {}, [&] { ReCreatReadVarList(&array.addresses()); }},
              variables, qMax(1, variables / kRebuildSamples));
}

} // namespace

int main()
{
    for (int variables : {10, 100000}) {
        watchCycle(variables);
        watchHostCalls(variables);
        watchDroppedSession(variables, PLC_driver.dataMutex, "dataMutex");
        watchDroppedSession(variables, stationStoreMutex, "stationStoreMutex");
        watchRebuild(variables);
    }
    return 0;
}
