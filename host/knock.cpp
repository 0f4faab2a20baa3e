#include "knock.h"

#include "identity.h"

namespace panelhost {
namespace {

KnockAnswer ask(Station* station, Traffic* traffic)
{
    Link& link = station->link;
    const StationSettings& settings = station->settings;
    const Clock::time_point deadline = Clock::now() + settings.timeout;
    if (link.connect(settings.host, settings.port, deadline) != LinkResult::Ok)
        return {StationTrouble::Unreachable, link.error()};
    if (traffic != nullptr)
        traffic->opened(settings.name, link);

    const QByteArray request = listIdentityRequest();
    if (traffic != nullptr)
        traffic->frame(settings.name, link, true, ByteView(request));
    QByteArray reply;
    LinkResult result =
        link.send(request.constData(), static_cast<std::size_t>(request.size()), deadline);
    if (result == LinkResult::Ok)
        result = link.receive(&reply, deadline);
    if (result == LinkResult::TimedOut)
        return {StationTrouble::Silent, silenceInWords(settings)};
    if (result != LinkResult::Ok)
        return {StationTrouble::NotEtherNetIp, link.error()};
    if (traffic != nullptr)
        traffic->frame(settings.name, link, false, ByteView(reply));
    if (!parseIdentity(ByteView(reply)))
        return {StationTrouble::NotEtherNetIp, "not a valid EtherNet/IP reply to ListIdentity"};
    return {};
}

} // namespace

std::future<KnockAnswer> knock(Station* station, Traffic* traffic, std::function<void()> whenDone)
{
    return std::async(std::launch::async, [station, traffic, whenDone = std::move(whenDone)] {
        KnockAnswer answer = ask(station, traffic);
        whenDone();
        return answer;
    });
}

} // namespace panelhost
