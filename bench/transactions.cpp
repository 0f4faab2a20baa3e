// Runs so many transactions and ends. An emulator counts the instructions of a whole program; the
// difference between a longer and a shorter run is what the transactions took.
//
//   transactions read|write COUNT

#include "Device_Driver.h"
#include "scenario.h"

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

void runReads(int count)
{
    const bench::Scenario scenario(10, 1);
    QByteArray reply = scenario.readReply();
    for (int i = 0; i < count; ++i)
        bench::transact(&reply);
}

void runWrites(int count)
{
    const bench::Scenario scenario(10, 1);
    const QString tag = bench::Scenario::tagName(3);
    PLC_driver.readList.clear();
    QByteArray reply = scenario.writeReply();
    for (int i = 0; i < count; ++i) {
        PLC_driver.writesServed = 0;
        bench::writeOnce(tag, &reply);
    }
}

} // namespace

int main(int argc, char** argv)
{
    const std::string what = argc == 3 ? argv[1] : "";
    const int count = argc == 3 ? std::atoi(argv[2]) : 0;
    if ((what != "read" && what != "write") || count <= 0) {
        std::fputs("usage: transactions read|write COUNT\n", stderr);
        return 2;
    }
    if (what == "read")
        runReads(count);
    else
        runWrites(count);
    return 0;
}
