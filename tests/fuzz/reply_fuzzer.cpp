// Reply bytes of any kind after a good handshake: the first bytes choose what was asked, the rest
// is what a cable and a controller make of the answers.

#include "driver_under_fuzz.h"

namespace {

const int kStation = 1;

void ask(DriverUnderFuzz& driver, FuzzInput& input)
{
    RW_VAR var = familiarVariable(input);
    var.station = kStation;
    if (input.flag())
        var.accessKind = kStoreReply;
    driver.addRead(&var);
    if (input.flag())
        driver.addOnceRead(&var, 0);
    if (input.flag())
        driver.write(var.tagName, var.dataKind, var.indexText, kStation, var.data, var.count);
}

void answer(DriverUnderFuzz& driver, FuzzInput& input)
{
    QByteArray reply = input.flag() ? driver.plausibleReply(input) : input.bytes();
    const int reported = input.below(8) == 0 ? input.number() : reply.size();
    driver.reply(&reply, reported);
    if (input.flag())
        driver.reply(&reply, reported);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const quint8* bytes, size_t size)
{
    FuzzInput input(bytes, size);
    DriverUnderFuzz driver;
    driver.settings(input);
    driver.comInfo.multiStation = 1;
    driver.comInfo.remoteMode = 0;
    driver.treatTagsAsArrays(input.flag());
    driver.connectStation(kStation);
    ask(driver, input);
    ask(driver, input);
    while (!input.isAtEnd()) {
        driver.communicate();
        answer(driver, input);
        driver.fetch(input.familiarName(), input.indexText(), kStation,
                     static_cast<unsigned int>(input.number()));
    }
    return 0;
}
