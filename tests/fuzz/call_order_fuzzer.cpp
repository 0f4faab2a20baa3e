// Host calls in any order with any arguments, replies among them.

#include "driver_under_fuzz.h"

namespace {

void reply(DriverUnderFuzz& driver, FuzzInput& input)
{
    QByteArray bytes = driver.plausibleReply(input);
    const int reported = input.below(16) == 0 ? input.number() : bytes.size();
    driver.reply(input.below(32) == 0 ? nullptr : &bytes, reported);
}

void callOne(DriverUnderFuzz& driver, FuzzInput& input)
{
    const RW_VAR var = familiarVariable(input);
    switch (input.below(14)) {
    case 0: driver.settings(input); break;
    case 1: SetComInfo(input.below(4) == 0 ? nullptr : &driver.comInfo); break;
    case 2: driver.treatTagsAsArrays(input.flag()); break;
    case 3: driver.addRead(&var); break;
    case 4: driver.addWrite(&var, input.below(3)); break;
    case 5: driver.addOnceRead(&var, input.below(3)); break;
    case 6: driver.rebuild(input, &FuzzInput::familiarName); break;
    case 7: driver.switchStation(input.number(), input.below(3)); break;
    case 8:
        driver.write(var.tagName, var.dataKind, var.indexText, var.station, var.data, var.count);
        break;
    case 9:
        driver.fetch(var.tagName, var.indexText, var.station, static_cast<quint32>(var.count));
        break;
    default:
        driver.communicate();
        reply(driver, input);
        break;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8* bytes, size_t size)
{
    FuzzInput input(bytes, size);
    DriverUnderFuzz driver;
    driver.settings(input);
    driver.treatTagsAsArrays(input.flag());
    while (!input.isAtEnd())
        callOne(driver, input);
    return 0;
}
