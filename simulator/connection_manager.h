// The Connection Manager: CIP class 3 connections, opened, closed, kept alive and timed out.
#pragma once

#include "cip_message.h"
#include "clock.h"
#include "request_path.h"
#include "tag_file.h"

#include <functional>
#include <map>
#include <optional>
#include <random>

namespace plcsim {

/// Number of a TCP link; never used twice.
using LinkId = std::uint64_t;

/// What an originator gives a connection to tell it from all its others.
struct ConnectionTriad {
    std::uint16_t serial = 0;
    std::uint16_t vendor = 0;
    std::uint32_t originatorSerial = 0;

    bool operator==(const ConnectionTriad& other) const
    {
        return serial == other.serial && vendor == other.vendor &&
               originatorSerial == other.originatorSerial;
    }
};

struct Connection {
    ConnectionTriad triad;
    LinkId link = 0;
    std::uint32_t originatorToTarget = 0; ///< chosen here; requests arrive with it
    std::uint32_t targetToOriginator = 0; ///< chosen by the originator; replies leave with it
    std::size_t requestSize = 0;          ///< most bytes of a request, sequence count included
    std::size_t replySize = 0;            ///< most bytes of a reply, sequence count included
    Duration timeout = {};
    TimePoint lastActivity;
    std::optional<std::uint16_t> lastSequence;
    Bytes lastReply; ///< the CIP reply to lastSequence, for a request sent twice
};

class ConnectionManager {
public:
    struct Options {
        std::size_t mostConnections = 24;
        bool acceptBackplanePath = false; ///< let a connection path begin with port 1, link 0
    };

    ConnectionManager(Options options, std::uint64_t seed) : options_(options), random_(seed) {}

    /// The refusal that a fault wants instead of an open; asked before anything else.
    void refuseOpensWith(std::function<std::optional<std::uint16_t>()> extendedStatus);

    CipReply open(const CipRequest& request, const ControllerIdentity& identity, LinkId link,
                  TimePoint now);
    CipReply close(const CipRequest& request, LinkId link);

    /// The message that an Unconnected Send carries, or the refusal of the send itself.
    struct Unwrapped {
        std::optional<CipReply> refused;
        ByteView message;
    };
    Unwrapped unwrapUnconnectedSend(const CipRequest& request) const;

    /// The connection that requests with this ID belong to; null if there is none on the link.
    Connection* find(std::uint32_t originatorToTarget, LinkId link);

    /// Drops the connections that were silent for longer than their time-out; says how many.
    std::size_t expire(TimePoint now);
    void linkClosed(LinkId link);
    void closeAll() { connections_.clear(); }
    std::size_t count() const { return connections_.size(); }

private:
    std::optional<std::uint16_t> pathRefusal(ByteView path, const ControllerIdentity& identity,
                                             bool endsAtRouter) const;
    std::uint32_t newConnectionId();

    Options options_;
    std::mt19937_64 random_;
    std::function<std::optional<std::uint16_t>()> faultyOpen_ = [] { return std::nullopt; };
    std::map<std::uint32_t, Connection> connections_; ///< by O->T connection ID
};

} // namespace plcsim
