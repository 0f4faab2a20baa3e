// The driver as a panel has it: a library opened at run time, its entry points found by name.

#ifndef MICRO850_TESTS_LOADED_DRIVER_H
#define MICRO850_TESTS_LOADED_DRIVER_H

#include <micro850/host_interface.h>

#include <string>

/// Opens a library file; the destructor closes it. Failures to open it or to find a name fail the
/// running test and leave null pointers.
class LoadedDriver {
public:
    explicit LoadedDriver(const std::string& path = MICRO850_LIBRARY);
    ~LoadedDriver();
    LoadedDriver(const LoadedDriver&) = delete;
    LoadedDriver& operator=(const LoadedDriver&) = delete;

    /// True when every entry point was found.
    bool isComplete() const { return missing_.empty() && library_ != nullptr; }

    // Each under its own name, with the type that the header declares.
    decltype(&::SetComInfo) SetComInfo;
    decltype(&::RegistCallBackFuncIntf) RegistCallBackFuncIntf;
    decltype(&::FlashLocalRegister) FlashLocalRegister;
    decltype(&::QueryFinishFlag) QueryFinishFlag;
    decltype(&::StringAddressToInt) StringAddressToInt;
    decltype(&::PLCAddressChangeIntef) PLCAddressChangeIntef;
    decltype(&::EnCommStation) EnCommStation;
    decltype(&::AddListReadVar) AddListReadVar;
    decltype(&::AddListWriteVar) AddListWriteVar;
    decltype(&::PassVarName) PassVarName;
    decltype(&::AddListOnceReadVar) AddListOnceReadVar;
    decltype(&::ReCreatReadVarList) ReCreatReadVarList;
    decltype(&::ComCommunication) ComCommunication;
    decltype(&::DataCom) DataCom;
    decltype(&::SetRegisterData) SetRegisterData;
    decltype(&::GetRegisterData) GetRegisterData;
    decltype(&::myMsgOutput) myMsgOutput;
    decltype(&::CalSUM) CalSUM;
    decltype(&::CalCRC) CalCRC;
    decltype(&::CalLRC) CalLRC;
    decltype(&::CalXOR) CalXOR;
    decltype(&::InvertUint16) InvertUint16;
    decltype(&::CRC16_IBM) CRC16_IBM;
    decltype(&::DigitalToASCII) DigitalToASCII;
    decltype(&::ASCIIToDigital) ASCIIToDigital;

private:
    template <typename Function>
    Function find(const char* name);

    void* library_;
    std::string missing_;
};

/// True when a file of that name is mapped into this process.
bool isMapped(const std::string& path);

#endif // MICRO850_TESTS_LOADED_DRIVER_H
