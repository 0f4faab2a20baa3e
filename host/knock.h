// Sees whether a controller answers at all before it is let into a cycle that it shares with others.
// A dead station costs the others nothing then: looking up its name, connecting and the first
// time-out take place on a thread of their own, without the driver.

#ifndef PANELHOST_KNOCK_H
#define PANELHOST_KNOCK_H

#include "station_settings.h"
#include "traffic.h"

#include <functional>
#include <future>
#include <string>
#include <thread>

namespace panelhost {

/// No trouble when the station answers.
struct KnockAnswer {
    StationTrouble trouble = StationTrouble::None;
    std::string reason;
};

class Knock {
public:
    Knock() = default;
    ~Knock() { wait(); }
    Knock(const Knock&) = delete;
    Knock& operator=(const Knock&) = delete;

    /// Opens the link and asks for the device's identity over it; the link stays open when an answer
    /// came. whenDone is called from the knock's thread when the answer can be taken.
    void start(Link* link, const StationSettings& settings, Traffic* traffic,
               std::function<void()> whenDone);

    /// Until its answer is taken; the link belongs to the knock meanwhile.
    bool underWay() const { return answer_.valid(); }
    bool isAnswered() const;
    KnockAnswer take();

    /// For the end of the thread, which interrupting the link brings about.
    void wait();

private:
    std::future<KnockAnswer> answer_;
    std::thread thread_;
};

} // namespace panelhost

#endif // PANELHOST_KNOCK_H
