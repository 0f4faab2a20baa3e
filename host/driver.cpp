#include "driver.h"

#include "frame_view.h"

namespace panelhost {
namespace {

/// The failure callback carries nothing that tells drivers apart, but every callback comes from
/// DataCom() on the thread that called it.
thread_local CallbackNotes* currentNotes = nullptr;

void noteDone(int, int, int, int status)
{
    if (currentNotes == nullptr)
        return;
    ++currentNotes->done;
    if (status != 1)
        ++currentNotes->doneFailed;
}

void noteStationFailed(void*, int, int)
{
    if (currentNotes != nullptr)
        ++currentNotes->stationFailed;
}

/// The driver decides whether a tag is an array by the first known name that differs from the tag's.
/// A list headed by a name that no tag can bear makes every tag an array, so that index and count
/// are always used; a single value is element 0.
QList<varName> namesThatMakeEveryTagAnArray()
{
    constexpr int kArrayTag = 2;
    varName name;
    name.name = QStringLiteral("*");
    name.kind = kArrayTag;
    return {name};
}

} // namespace

Driver::Driver(std::unique_ptr<DriverLibrary> library) : library_(std::move(library))
{
    constexpr int kWritesReachControllers = 2;
    comInfo_.multiStation = 1;
    comInfo_.writeMode = kWritesReachControllers;
    // Resends happen in the rounds before the driver counts failures, see keepForResend(); behind
    // them every further attempt is refused by the length check, so there is nothing to retry.
    comInfo_.retryLimit = 0;
    library_->setComInfo(&comInfo_);
    library_->registerCallbacks(noteDone, noteStationFailed);
    library_->flashLocalRegister(nullptr, nullptr, nullptr);
    const QList<varName> names = namesThatMakeEveryTagAnArray();
    library_->passVarName(&names);
}

void Driver::clearReadList()
{
    const QList<ADDRESS_RECORD*> none;
    library_->rebuildReadList(&none);
}

int Driver::addCyclicRead(const RW_VAR& var)
{
    return library_->addListReadVar(&var);
}

void Driver::queueOnceRead(const RW_VAR& var)
{
    constexpr int kResolveAndDropDuplicates = 0;
    library_->addListOnceReadVar(&var, kResolveAndDropDuplicates);
}

void Driver::queueWrite(const RW_VAR& var)
{
    library_->setRegisterData(var.tagName, var.dataKind, var.indexText, var.station, var.data,
                              var.count, var.hostArea, var.hostAddress);
}

void Driver::enableStation(int station, bool on)
{
    library_->enableStation(station, on ? 1 : 0);
}

int Driver::handIn(QByteArray* reply, int length)
{
    currentNotes = &notes_;
    const int result = library_->dataCom(reply, length)->result;
    currentNotes = nullptr;
    return result;
}

bool Driver::acceptHandshake(QByteArray* reply)
{
    return handIn(reply, reply->size()) == kOk;
}

bool Driver::acceptReply(const Protocol& request, QByteArray* reply)
{
    if (request.replyLength == -1 && handIn(reply, reply->size()) != kOk)
        return false;
    if (handIn(reply, reply->size()) != kOk)
        return false;
    // A success does not clear the count, so scattered failures would add up to a dropped session.
    comInfo_.failCount = 0;
    return true;
}

// The driver takes every reply of 50 bytes for a good one. Handing a refusal in whole would store
// what follows the status as values. Cut behind the status it has no value bytes: the request is
// retired, the sequence count moves on (the controller has counted this request, and would answer
// its number from memory), and nothing is stored. One thing would be: the type of a tag that has
// none yet, as 8-bit with type bytes 0, until the session ends. Such a request must fail instead.
bool Driver::acceptRefusal(const Protocol& request, QByteArray* reply)
{
    reply->truncate(static_cast<int>(frame::connected::kReplyData));
    return acceptReply(request, reply);
}

void Driver::keepForResend()
{
    handIn(&empty_, 0);
}

// Three empty replies leave the request in place, the fourth settles that no reply can be right any
// more, the next one fails and, with a retry limit of 0, drops the session.
void Driver::failTransaction()
{
    constexpr int kMoreThanEnough = 16;
    for (int i = 0; i < kMoreThanEnough; ++i) {
        const int result = handIn(&empty_, 0);
        if (result != kResend && result != kOk)
            return;
    }
}

// A refused RegisterSession ends the handshake at once, a Forward Open at the fourth refusal. With
// nothing in flight the driver answers kOk.
void Driver::abandonHandshake()
{
    constexpr int kMoreThanEnough = 8;
    for (int i = 0; i < kMoreThanEnough; ++i)
        if (handIn(&empty_, 0) == kOk)
            return;
}

bool Driver::fetch(const QString& tag, const QString& indexText, int station,
                   unsigned int registers, QByteArray* out)
{
    return library_->getRegisterData(tag, 0, indexText, station, out, registers) == 1;
}

} // namespace panelhost
