// The controller without its network: sessions, message routing, frame in and frame out.
#pragma once

#include "connection_manager.h"
#include "encapsulation.h"
#include "identity.h"
#include "tag_services.h"

#include <functional>
#include <map>
#include <string>

namespace plcsim {

struct ControllerOptions {
    std::size_t mostSessions = 23;
    ConnectionManager::Options connections;
    TagServices::Options tagServices;
    std::uint64_t seed = 1;
};

/// What happened since the start, for people.
struct Counters {
    std::uint64_t requests = 0;
    std::uint64_t replies = 0;
    std::uint64_t refusals = 0; ///< replies with an encapsulation or general status other than 0
    std::uint64_t duplicates = 0;
    std::uint64_t unanswered = 0; ///< requests met with silence, as on a connection that is gone
    std::uint64_t expired = 0;    ///< connections timed out
};

class Controller {
public:
    /// A general status to answer tag requests with instead of serving them.
    struct ForcedStatus {
        std::uint8_t general = 0;
        std::vector<std::uint16_t> extended;
    };

    /// What faults may make of requests; by default nothing.
    struct Interference {
        std::function<std::optional<std::uint32_t>()> sessionRefusal;
        std::function<std::optional<std::uint16_t>()> openRefusal;
        std::function<std::optional<ForcedStatus>(const std::string& tag)> tagStatus;
    };

    Controller(Program program, ControllerOptions options, TimePoint now);

    void interfere(Interference interference);

    /// Told of every change of a tag, also of those that another program brings.
    void observeTags(TagStore::Observer observer);

    /// The address that ListIdentity reports.
    void listensOn(const SocketAddress& address) { address_ = address; }

    struct Outcome {
        std::optional<Frame> reply;
        bool closeLink = false;
    };

    Outcome handle(LinkId link, const Frame& request, TimePoint now);

    /// Counts a request that is met with silence instead of being handled.
    void ignore();

    /// The answer to a header that claims more data than any frame has.
    Outcome refuseAbsurdLength(const Frame& header);

    void linkClosed(LinkId link);

    /// Moves the tags and drops connections that were silent for too long.
    void scan(TimePoint now);

    /// Another program, as after a download; sessions and connections live on.
    void download(Program program, TimePoint now);

    void dropConnections() { connections_.closeAll(); }
    void dropSessions();

    TagStore& tags() { return tags_; }
    const ControllerIdentity& identity() const { return identity_; }
    const Counters& counters() const { return counters_; }
    std::size_t sessionCount() const { return sessions_.size(); }
    std::size_t connectionCount() const { return connections_.count(); }

private:
    Frame registerSession(LinkId link, const Frame& request);
    Outcome unregisterSession(LinkId link, const Frame& request);
    std::optional<Frame> sendRrData(LinkId link, const Frame& request, TimePoint now);
    std::optional<Frame> sendUnitData(LinkId link, const Frame& request, TimePoint now);
    Bytes serveConnected(Connection& connection, ByteView message);

    CipReply routeUnconnected(LinkId link, ByteView message, TimePoint now);
    CipReply connectionManagerService(LinkId link, const CipRequest& request, TimePoint now);
    CipReply route(ByteView message, std::size_t mostReplyBytes, bool mayNest = true);
    CipReply tagService(const CipRequest& request, const Path& path, std::size_t mostReplyBytes);
    CipReply multipleServices(const CipRequest& request, std::size_t mostReplyBytes);

    Bytes encodeCounted(const CipReply& reply);
    bool sessionIsOn(LinkId link, std::uint32_t session) const;
    std::uint32_t newSessionHandle();

    ControllerOptions options_;
    ControllerIdentity identity_;
    SocketAddress address_;
    TagStore tags_;
    TagStore::Observer tagObserver_;
    TagServices tagServices_;
    ConnectionManager connections_;
    Interference interference_;
    std::map<std::uint32_t, LinkId> sessions_; ///< by session handle
    std::mt19937_64 random_;
    Counters counters_;
};

} // namespace plcsim
