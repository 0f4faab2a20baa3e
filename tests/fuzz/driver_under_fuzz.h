// The driver as every fuzz input finds it, the calls that inputs make, and what must hold after
// each of them. A broken promise aborts, which the fuzzer and the replay take for a finding.

#ifndef MICRO850_TESTS_DRIVER_UNDER_FUZZ_H
#define MICRO850_TESTS_DRIVER_UNDER_FUZZ_H

#include "fuzz_input.h"

#include <micro850/host_interface.h>

#include <QByteArray>
#include <QString>

/// One input's life: constructed, the driver is as after load with a host's record registered and
/// the clock held still; at the end everything the host handed over is taken back.
class DriverUnderFuzz {
public:
    DriverUnderFuzz();
    ~DriverUnderFuzz();

    COM_INFO comInfo;

    /// Fills the words of comInfo that are the host's.
    void settings(FuzzInput& input);

    /// Passes the one list that makes every tag an array, or none of them.
    void treatTagsAsArrays(bool arrays);

    /// Opens the station by the cycle itself, with good replies.
    void connectStation(int station);

    // Entry points, each followed by all checks. What they return is part of the digest.
    Protocol* communicate();
    RW_VAR* reply(QByteArray* bytes, int receivedLength);
    /// From a list out of the input, null records and the null list included.
    int rebuild(FuzzInput& input, QString (FuzzInput::*name)());
    int addRead(const RW_VAR* var);
    int addWrite(const RW_VAR* var, int mode);
    int addOnceRead(const RW_VAR* var, int mode);
    int fetch(const QString& tag, const QString& index, int station, unsigned int registers);
    int write(const QString& tag, int kind, const QString& index, int station,
              const QByteArray& value, int count);
    void switchStation(int station, int flag);

    /// A reply to the request in flight: good, cut, with other values, or anything.
    QByteArray plausibleReply(FuzzInput& input) const;

private:
    void check() const;

    int writesAppended_ = 0;    ///< in mode 1, which knows no limit
    int onceReadsAppended_ = 0; ///< likewise
    int cyclicAppended_ = 0;    ///< likewise
};

/// A variable with every field from the input.
RW_VAR hostileVariable(FuzzInput& input);
/// A variable of a familiar tag and station.
RW_VAR familiarVariable(FuzzInput& input);

/// Sums up everything that the running input could observe of the driver. Two runs of one input
/// must give the same sum, whatever ran between them.
quint64 observedDigest();

#endif // MICRO850_TESTS_DRIVER_UNDER_FUZZ_H
