// One driver as its host drives it: the settings record, the callbacks, and the call sequences that a
// reply, a time-out and a refusal need. Communication thread only, but for construction.

#ifndef PANELHOST_DRIVER_H
#define PANELHOST_DRIVER_H

#include "driver_library.h"

#include <micro850/host_interface.h>

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <memory>

namespace panelhost {

/// What a variable is for, in RW_VAR::hostArea: told apart in requests, and in failure codes.
enum Purpose {
    kCyclicRead = 1,
    kScout = 2, ///< accepted without storing: tells whether a tag exists and of which type it is
    kProbe = 3, ///< stored read of element 0, which teaches the driver the type
    kWrite = 4,
};

/// What the callbacks have reported. They run with the driver's queue lock held, so they only count.
struct CallbackNotes {
    std::uint64_t done = 0;
    std::uint64_t doneFailed = 0;
    std::uint64_t stationFailed = 0;
};

class Driver {
public:
    explicit Driver(std::unique_ptr<DriverLibrary> library);

    // --- Lists. The cyclic list is touched by this thread alone, between transactions. ---

    void clearReadList();
    int addCyclicRead(const RW_VAR& var);
    void queueOnceRead(const RW_VAR& var);
    void queueWrite(const RW_VAR& var);
    void enableStation(int station, bool on);

    // --- The cycle ---

    /// The request to send, or null.
    Protocol* nextRequest() { return library_->comCommunication(); }

    /// Hands in a screened handshake answer. False when the driver refuses it.
    bool acceptHandshake(QByteArray* reply);

    /// Hands in a screened good answer to a read or write: once for the length, once for the values.
    bool acceptReply(const Protocol& request, QByteArray* reply);

    /// Retires a request that the controller refused, so that nothing is stored. Not for a storing
    /// read of a tag whose type the driver does not know yet; that one has to fail.
    bool acceptRefusal(const Protocol& request, QByteArray* reply);

    /// Leaves an unanswered request in place to be sent again. At most kMaxResends times.
    void keepForResend();

    /// Gives the request in flight up, which drops its station's session and forgets its types.
    void failTransaction();

    /// Gives a handshake up.
    void abandonHandshake();

    /// Copies what the driver holds for these registers.
    bool fetch(const QString& tag, const QString& indexText, int station, unsigned int registers,
               QByteArray* out);

    const CallbackNotes& callbackNotes() const { return notes_; }

    /// An unanswered request may come back this often before the driver counts it as failed.
    static constexpr int kMaxResends = 3;

private:
    int handIn(QByteArray* reply, int length);

    std::unique_ptr<DriverLibrary> library_;
    COM_INFO comInfo_;
    CallbackNotes notes_;
    QByteArray empty_;
};

} // namespace panelhost

#endif // PANELHOST_DRIVER_H
