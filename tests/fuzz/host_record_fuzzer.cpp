// Records of a host gone wrong: absurd counts, indexes, lengths and names, huge register counts,
// null lists. Replies are good, so that every record is worked on to its end.

#include "driver_under_fuzz.h"
#include "tiny_controller.h"

namespace {

void passNames(FuzzInput& input)
{
    QList<varName> names;
    for (int i = input.below(4); i > 0; --i) {
        varName name;
        name.name = input.hostileName();
        name.kind = input.below(4) == 0 ? input.number() : 2;
        names.append(name);
    }
    PassVarName(input.below(8) == 0 ? nullptr : &names);
}

void cycle(DriverUnderFuzz& driver, FuzzInput& input)
{
    Protocol* request = driver.communicate();
    if (request == nullptr)
        return;
    QByteArray good = controller::goodReply(*request, quint8(0xC1 + input.below(26)),
                                            QByteArray(input.byte(), '\x5A'));
    driver.reply(&good, good.size());
    driver.reply(&good, good.size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8* bytes, size_t size)
{
    FuzzInput input(bytes, size);
    DriverUnderFuzz driver;
    driver.settings(input);
    passNames(input);
    if (input.flag())
        driver.rebuild(input, &FuzzInput::hostileName);
    for (int calls = 0; calls < 64 && !input.isAtEnd(); ++calls) {
        const RW_VAR var = hostileVariable(input);
        const RW_VAR* given = input.below(32) == 0 ? nullptr : &var;
        switch (input.below(6)) {
        case 0: driver.addRead(given); break;
        case 1: driver.addWrite(given, var.onceFlag); break;
        case 2: driver.addOnceRead(given, var.onceFlag); break;
        case 3:
            driver.write(var.tagName, 1, var.indexText, var.station, var.data, var.count);
            break;
        default: break;
        }
        cycle(driver, input);
        cycle(driver, input);
        driver.fetch(var.tagName, var.indexText, var.station, static_cast<quint32>(var.count));
    }
    return 0;
}
