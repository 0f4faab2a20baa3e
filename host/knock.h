// Sees whether a controller answers at all before it is let into a cycle that it shares with others.
// A dead station costs the others nothing then: looking up its name, connecting and the first
// time-out take place on a thread of their own, without the driver.

#ifndef PANELHOST_KNOCK_H
#define PANELHOST_KNOCK_H

#include "station.h"
#include "traffic.h"

#include <functional>
#include <future>

namespace panelhost {

/// Opens the station's link and asks for the device's identity over it; the link stays open when an
/// answer came. Until then the link belongs to the knock. whenDone is called from its thread.
std::future<KnockAnswer> knock(Station* station, Traffic* traffic, std::function<void()> whenDone);

} // namespace panelhost

#endif // PANELHOST_KNOCK_H
