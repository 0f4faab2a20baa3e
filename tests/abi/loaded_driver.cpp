#include "loaded_driver.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <fstream>

LoadedDriver::LoadedDriver(const std::string& path)
    : library_(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL))
{
    EXPECT_NE(nullptr, library_) << dlerror();
#define MICRO850_FIND(name) this->name = find<decltype(&::name)>(#name)
    MICRO850_FIND(SetComInfo);
    MICRO850_FIND(RegistCallBackFuncIntf);
    MICRO850_FIND(FlashLocalRegister);
    MICRO850_FIND(QueryFinishFlag);
    MICRO850_FIND(StringAddressToInt);
    MICRO850_FIND(PLCAddressChangeIntef);
    MICRO850_FIND(EnCommStation);
    MICRO850_FIND(AddListReadVar);
    MICRO850_FIND(AddListWriteVar);
    MICRO850_FIND(PassVarName);
    MICRO850_FIND(AddListOnceReadVar);
    MICRO850_FIND(ReCreatReadVarList);
    MICRO850_FIND(ComCommunication);
    MICRO850_FIND(DataCom);
    MICRO850_FIND(SetRegisterData);
    MICRO850_FIND(GetRegisterData);
    MICRO850_FIND(myMsgOutput);
    MICRO850_FIND(CalSUM);
    MICRO850_FIND(CalCRC);
    MICRO850_FIND(CalLRC);
    MICRO850_FIND(CalXOR);
    MICRO850_FIND(InvertUint16);
    MICRO850_FIND(CRC16_IBM);
    MICRO850_FIND(DigitalToASCII);
    MICRO850_FIND(ASCIIToDigital);
#undef MICRO850_FIND
    EXPECT_EQ("", missing_) << "not found by name";
}

LoadedDriver::~LoadedDriver()
{
    if (library_ != nullptr) {
        EXPECT_EQ(0, dlclose(library_));
    }
}

template <typename Function>
Function LoadedDriver::find(const char* name)
{
    void* const found = library_ != nullptr ? dlsym(library_, name) : nullptr;
    if (found == nullptr)
        missing_ += std::string(name) + ' ';
    return reinterpret_cast<Function>(found);
}

bool isMapped(const std::string& path)
{
    std::ifstream maps("/proc/self/maps");
    EXPECT_TRUE(maps.is_open());
    for (std::string line; std::getline(maps, line);)
        if (line.find(path) != std::string::npos)
            return true;
    return false;
}
