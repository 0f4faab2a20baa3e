// Loads the library, uses it, unloads it, again and again; nothing of it may stay behind.
//
//   GLIBC_TUNABLES=glibc.malloc.tcache_count=0 load_rounds LIBRARY ROUNDS

#include "process_figures.h"
#include "tiny_controller.h"

#include <cstdio>
#include <cstdlib>
#include <dlfcn.h>

namespace {

const int kWarmUpRounds = 20;

void require(bool holds, const char* what)
{
    if (holds)
        return;
    const char* reason = dlerror();
    std::fprintf(stderr, "failed: %s %s\n", what, reason != nullptr ? reason : "");
    std::exit(1);
}

class Library {
public:
    explicit Library(const char* path) : handle_(dlopen(path, RTLD_NOW | RTLD_LOCAL))
    {
        require(handle_ != nullptr, "load");
    }
    ~Library() { require(dlclose(handle_) == 0, "unload"); }

    template <typename Function>
    Function* find(const char* name) const
    {
        void* found = dlsym(handle_, name);
        require(found != nullptr, name);
        return reinterpret_cast<Function*>(found);
    }

private:
    void* handle_;
};

/// Connects a station, reads a tag, writes it and fetches it, with the log handler installed.
void use(const Library& library)
{
    const auto communicate = library.find<decltype(ComCommunication)>("ComCommunication");
    const auto take = library.find<decltype(DataCom)>("DataCom");
    const auto fetch = library.find<decltype(GetRegisterData)>("GetRegisterData");
    const auto write = library.find<decltype(SetRegisterData)>("SetRegisterData");

    static COM_INFO comInfo;
    comInfo.writeMode = 2;
    library.find<decltype(SetComInfo)>("SetComInfo")(&comInfo);
    micro850::installMessageHandler(library.find<decltype(myMsgOutput)>("myMsgOutput"));
    RW_VAR var;
    var.tagName = QString::fromLatin1("Level");
    var.count = 1;
    library.find<decltype(AddListReadVar)>("AddListReadVar")(&var);

    const QByteArray value("\x34\x12", 2);
    for (int i = 0; i < 8; ++i) {
        Protocol* request = communicate();
        require(request != nullptr, "a request");
        QByteArray reply = controller::goodReply(*request, controller::kInt, value);
        take(&reply, reply.size());
        if (i == 4)
            write(var.tagName, 0, QString(), 0, value, 1, 1, 1);
    }
    QByteArray out;
    require(fetch(var.tagName, 0, QString(), 0, &out, 1) == 1 && out == value, "the value");
    micro850::installMessageHandler(nullptr);
}

void report(const char* when, const ProcessFigures& figures)
{
    std::printf("%s: %zu heap bytes, %zu files, %zu threads, %zu mappings\n", when,
                figures.heapBytes, figures.openFiles, figures.threads, figures.mappings);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: %s LIBRARY ROUNDS\n", argv[0]);
        return 2;
    }
    const int rounds = std::atoi(argv[2]);
    ProcessFigures before = processFigures();
    for (int round = 0; round < kWarmUpRounds + rounds; ++round) {
        if (round == kWarmUpRounds)
            before = processFigures();
        {
            const Library library(argv[1]);
            use(library);
        }
        require(dlopen(argv[1], RTLD_NOW | RTLD_NOLOAD) == nullptr, "gone after its unload");
    }
    const ProcessFigures after = processFigures();
    report("after warm-up", before);
    report("at the end", after);
    require(after.openFiles == before.openFiles, "no file stays open");
    require(after.threads == before.threads, "no thread stays");
    require(after.mappings <= before.mappings + 4, "no mapping stays");
    require(after.heapBytes <= before.heapBytes, "no byte of memory stays");
    return 0;
}
