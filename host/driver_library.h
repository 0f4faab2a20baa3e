// The loaded driver: the entry points as found by name. A driver keeps its state in globals, so one
// loaded file is one driver; a private copy of the file is another one in the same process.

#ifndef PANELHOST_DRIVER_LIBRARY_H
#define PANELHOST_DRIVER_LIBRARY_H

#include <micro850/host_interface.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace panelhost {

class LibraryError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class DriverLibrary {
public:
    /// Loads file. Loading the same file twice gives the same driver. Throws LibraryError.
    static std::unique_ptr<DriverLibrary> load(const std::string& file);

    /// Loads an anonymous copy of file, whose state nobody else shares. Throws LibraryError.
    static std::unique_ptr<DriverLibrary> loadPrivateCopy(const std::string& file);

    /// The library beside this program (../lib), else where the loader finds it. Throws LibraryError.
    static std::string defaultFile();

    ~DriverLibrary();
    DriverLibrary(const DriverLibrary&) = delete;
    DriverLibrary& operator=(const DriverLibrary&) = delete;

    decltype(&::SetComInfo) setComInfo = nullptr;
    decltype(&::RegistCallBackFuncIntf) registerCallbacks = nullptr;
    decltype(&::FlashLocalRegister) flashLocalRegister = nullptr;
    decltype(&::PassVarName) passVarName = nullptr;
    decltype(&::AddListReadVar) addListReadVar = nullptr;
    decltype(&::ReCreatReadVarList) rebuildReadList = nullptr;
    decltype(&::AddListOnceReadVar) addListOnceReadVar = nullptr;
    decltype(&::EnCommStation) enableStation = nullptr;
    decltype(&::ComCommunication) comCommunication = nullptr;
    decltype(&::DataCom) dataCom = nullptr;
    decltype(&::GetRegisterData) getRegisterData = nullptr;
    decltype(&::SetRegisterData) setRegisterData = nullptr;
    decltype(&::myMsgOutput) myMsgOutput = nullptr;

private:
    class AnonymousCopy;

    explicit DriverLibrary(void* handle);

    void* handle_;
    std::unique_ptr<AnonymousCopy> copy_; ///< set for a private copy
};

} // namespace panelhost

#endif // PANELHOST_DRIVER_LIBRARY_H
