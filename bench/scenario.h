// A driver with stations, tags and a controller that answers at once, for measurements.

#ifndef BENCH_SCENARIO_H
#define BENCH_SCENARIO_H

#include <micro850/host_interface.h>

#include <QByteArray>
#include <QList>
#include <QString>

#include <string>

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

    /// Runs whole transactions until count of them have ended.
    void run(int count);

    /// Replies to reads carry so many value bytes from now on.
    void setValueBytes(int count) { valueBytes_ = count; }

    static QString tagName(int variable);
    int stationOf(int variable) const { return variable % stations_; }

private:
    int stations_;
    int valueBytes_ = 4;
    COM_INFO comInfo_;
};

} // namespace bench

#endif // BENCH_SCENARIO_H
