// A driver with stations, tags and a controller that answers at once, for measurements.

#ifndef BENCH_SCENARIO_H
#define BENCH_SCENARIO_H

#include <micro850/host_interface.h>

#include <QByteArray>
#include <QList>
#include <QString>

#include <vector>

namespace bench {

/// A driver with variables DINT tags spread evenly over stations, each read once already.
class Scenario {
public:
    Scenario(int variables, int stations);
    ~Scenario();

    Scenario(const Scenario&) = delete;
    Scenario& operator=(const Scenario&) = delete;

    /// What a controller answers to a request.
    QByteArray answer(const Protocol& request) const;
    QByteArray readReply() const;
    QByteArray writeReply() const;

    /// Runs whole transactions until count of them have ended.
    void run(int count);

    /// Replies to reads carry so many value bytes from now on.
    void setValueBytes(int count) { valueBytes_ = count; }

    COM_INFO& comInfo() { return comInfo_; }

    /// Puts an INT array that was read whole into station 0, under a name of its own.
    QString addIntArray(int elements);

    static QString tagName(int variable);
    int stationOf(int variable) const { return variable % stations_; }

private:
    int stations_;
    int valueBytes_ = 4;
    COM_INFO comInfo_;
};

/// The next transaction as a host makes it, its reply ready.
void transact(QByteArray* reply);

/// One write of a DINT, from the host's call to the end of its transaction.
void writeOnce(const QString& tag, QByteArray* reply);

/// Addresses of one element each of one array. The elements come in random order, as screens name them;
/// the records lie in memory as a host makes them, one after the other.
class ShuffledArray {
public:
    explicit ShuffledArray(int elements);
    const QList<ADDRESS_RECORD*>& addresses() const { return addresses_; }

private:
    std::vector<ADDRESS_RECORD> records_;
    QList<ADDRESS_RECORD*> addresses_;
};

} // namespace bench

#endif // BENCH_SCENARIO_H
