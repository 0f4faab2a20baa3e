// panelhost identify: what answers at an address.

#include "command.h"
#include "identity.h"
#include "output.h"

#include <nlohmann/json.hpp>

#include <cstdio>
#include <iostream>

namespace panelhost {
namespace {

/// What went wrong with a link, with the next step.
std::string failureOf(const Link& link, LinkResult result)
{
    switch (result) {
    case LinkResult::TimedOut: return link.error() + nextStep(StationTrouble::Silent);
    case LinkResult::Malformed: return link.error() + nextStep(StationTrouble::NotEtherNetIp);
    default: return link.error() + ": it may be no EtherNet/IP device";
    }
}

/// Empty when identity was filled, else why not.
std::string ask(const StationSettings& station, Traffic* traffic, Identity* identity)
{
    const Interrupt interrupt;
    Link link(&interrupt);
    const Clock::time_point deadline = Clock::now() + station.timeout;
    if (link.connect(station.host, station.port, deadline) != LinkResult::Ok)
        return link.error() + nextStep(StationTrouble::Unreachable);
    if (traffic != nullptr)
        traffic->opened(station.name, link);
    const QByteArray request = listIdentityRequest();
    QByteArray reply;
    if (traffic != nullptr)
        traffic->frame(station.name, link, true, ByteView(request));
    LinkResult result =
        link.send(request.constData(), static_cast<std::size_t>(request.size()), deadline);
    if (result == LinkResult::Ok)
        result = link.receive(&reply, deadline);
    if (result == LinkResult::Ok && traffic != nullptr)
        traffic->frame(station.name, link, false, ByteView(reply));
    if (traffic != nullptr)
        traffic->closed(station.name, link);
    if (result != LinkResult::Ok)
        return failureOf(link, result);
    const auto parsed = parseIdentity(ByteView(reply));
    if (!parsed)
        return "not an EtherNet/IP device: its identity makes no sense" +
               nextStep(StationTrouble::NotEtherNetIp);
    *identity = *parsed;
    return {};
}

void print(const StationSettings& station, const Identity& identity, Format format)
{
    char serial[12];
    std::snprintf(serial, sizeof serial, "%08X", identity.serial);
    const std::string revision =
        std::to_string(identity.majorRevision) + "." + std::to_string(identity.minorRevision);
    if (format == Format::Json) {
        nlohmann::ordered_json record;
        record["station"] = station.name;
        record["product"] = identity.product;
        record["vendor"] = identity.vendor;
        record["device_type"] = identity.deviceType;
        record["product_code"] = identity.productCode;
        record["revision"] = revision;
        record["serial"] = serial;
        std::cout << record.dump() << '\n';
        return;
    }
    std::cout << palette().bold << station.name << palette().reset << '\n'
              << "  Product   " << identity.product << '\n'
              << "  Vendor    " << vendorName(identity.vendor) << '\n'
              << "  Kind      " << deviceTypeName(identity.deviceType) << ", product code "
              << identity.productCode << '\n'
              << "  Revision  " << revision << '\n'
              << "  Serial    " << serial << '\n';
}

} // namespace

int runIdentify(const CommonOptions& options)
{
    ExitCode result = kAllGood;
    for (StationSettings station : projectOf(options.target).stations) {
        if (options.timeout > 0)
            station.timeout = std::chrono::milliseconds(options.timeout);
        Identity identity;
        const std::string failure = ask(station, options.traffic, &identity);
        if (failure.empty()) {
            print(station, identity, options.format());
        } else {
            std::cerr << "panelhost: " << station.name << ": " << failure << '\n';
            result = kNoConnection;
        }
    }
    return result;
}

} // namespace panelhost
