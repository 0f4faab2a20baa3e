// Who wants to see the frames and learn what happened: captures and logs.

#ifndef PANELHOST_TRAFFIC_H
#define PANELHOST_TRAFFIC_H

#include "frame_view.h"
#include "tcp_link.h"

#include <string>

namespace panelhost {

/// Called from communication threads, from several of them at once.
class Traffic {
public:
    virtual ~Traffic() = default;

    virtual void opened(const std::string& station, const Link& link) = 0;
    virtual void closed(const std::string& station, const Link& link) = 0;
    virtual void frame(const std::string& station, const Link& link, bool sent, ByteView bytes) = 0;
    virtual void note(const std::string& station, const std::string& what) = 0;
};

} // namespace panelhost

#endif // PANELHOST_TRAFFIC_H
