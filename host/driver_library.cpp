#include "driver_library.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <dlfcn.h>
#include <fstream>
#include <limits.h>
#include <link.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <unistd.h>

namespace panelhost {
namespace {

constexpr char kLibraryName[] = "libmicro850.so";

[[noreturn]] void fail(const std::string& what)
{
    throw LibraryError(what);
}

std::string loaderError()
{
    const char* text = dlerror();
    return text != nullptr ? text : "unknown loader error";
}

template <typename Function>
void resolve(void* handle, const char* name, Function* function)
{
    *function = reinterpret_cast<Function>(dlsym(handle, name));
    if (*function == nullptr)
        fail(std::string("not a Micro850 driver library: ") + name + " is missing");
}

} // namespace

/// A file without a name that holds the same bytes.
class DriverLibrary::AnonymousCopy {
public:
    explicit AnonymousCopy(const std::string& file)
        : descriptor_(memfd_create(kLibraryName, MFD_CLOEXEC))
    {
        if (descriptor_ < 0)
            fail(std::string("no private copy of the driver library: ") + std::strerror(errno));
        std::ifstream source(file, std::ios::binary);
        if (!source)
            fail(file + ": cannot be read");
        std::array<char, 65536> chunk{};
        while (source.read(chunk.data(), chunk.size()) || source.gcount() > 0)
            append(chunk.data(), static_cast<std::size_t>(source.gcount()));
    }
    ~AnonymousCopy() { close(descriptor_); }
    AnonymousCopy(const AnonymousCopy&) = delete;
    AnonymousCopy& operator=(const AnonymousCopy&) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

private:
    void append(const char* bytes, std::size_t size)
    {
        while (size > 0) {
            const ssize_t written = ::write(descriptor_, bytes, size);
            if (written < 0)
                fail(std::string("no private copy of the driver library: ") + std::strerror(errno));
            bytes += written;
            size -= static_cast<std::size_t>(written);
        }
    }

    int descriptor_;
};

namespace {

std::string fileBesideProgram()
{
    char program[PATH_MAX];
    const ssize_t length = readlink("/proc/self/exe", program, sizeof program - 1);
    if (length <= 0)
        return {};
    const std::string path(program, static_cast<std::size_t>(length));
    const std::string directory = path.substr(0, path.rfind('/'));
    return directory.substr(0, directory.rfind('/')) + "/lib/" + kLibraryName;
}

/// The file that the loader finds under the library's own name; empty when it finds none.
std::string fileOfLoader()
{
    void* handle = dlopen(kLibraryName, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr)
        return {};
    link_map* map = nullptr;
    std::string file;
    if (dlinfo(handle, RTLD_DI_LINKMAP, &map) == 0 && map != nullptr)
        file = map->l_name;
    dlclose(handle);
    return file;
}

} // namespace

std::unique_ptr<DriverLibrary> DriverLibrary::load(const std::string& file)
{
    void* handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr)
        fail("cannot load the driver library: " + loaderError());
    return std::unique_ptr<DriverLibrary>(new DriverLibrary(handle));
}

std::unique_ptr<DriverLibrary> DriverLibrary::loadPrivateCopy(const std::string& file)
{
    // The loader knows files by their path, and the path is the descriptor's number: it must stay
    // taken for as long as the library is loaded, or the next copy would be the same driver again.
    auto copy = std::make_unique<AnonymousCopy>(file);
    std::unique_ptr<DriverLibrary> library = load(copy->path());
    library->copy_ = std::move(copy);
    return library;
}

std::string DriverLibrary::defaultFile()
{
    const std::string beside = fileBesideProgram();
    if (!beside.empty() && access(beside.c_str(), R_OK) == 0)
        return beside;
    const std::string found = fileOfLoader();
    if (found.empty())
        fail(std::string(kLibraryName) + " not found, neither as " + beside +
             " nor by the loader; name it with --library FILE");
    return found;
}

DriverLibrary::DriverLibrary(void* handle) : handle_(handle)
{
    try {
        resolve(handle, "SetComInfo", &setComInfo);
        resolve(handle, "RegistCallBackFuncIntf", &registerCallbacks);
        resolve(handle, "FlashLocalRegister", &flashLocalRegister);
        resolve(handle, "PassVarName", &passVarName);
        resolve(handle, "AddListReadVar", &addListReadVar);
        resolve(handle, "ReCreatReadVarList", &rebuildReadList);
        resolve(handle, "AddListOnceReadVar", &addListOnceReadVar);
        resolve(handle, "EnCommStation", &enableStation);
        resolve(handle, "ComCommunication", &comCommunication);
        resolve(handle, "DataCom", &dataCom);
        resolve(handle, "GetRegisterData", &getRegisterData);
        resolve(handle, "SetRegisterData", &setRegisterData);
        resolve(handle, "myMsgOutput", &myMsgOutput);
    } catch (...) {
        dlclose(handle);
        throw;
    }
}

DriverLibrary::~DriverLibrary()
{
    dlclose(handle_);
}

} // namespace panelhost
