#include "knock.h"

#include "identity.h"

namespace panelhost {
namespace {

KnockAnswer ask(Link& link, const StationSettings& settings, Traffic* traffic)
{
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

void Knock::start(Link* link, const StationSettings& settings, Traffic* traffic,
                  std::function<void()> whenDone)
{
    std::promise<KnockAnswer> promise;
    answer_ = promise.get_future();
    thread_ = std::thread([link, settings, traffic, whenDone = std::move(whenDone),
                           promise = std::move(promise)]() mutable {
        promise.set_value(ask(*link, settings, traffic));
        whenDone();
    });
}

bool Knock::isAnswered() const
{
    return answer_.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}

KnockAnswer Knock::take()
{
    KnockAnswer answer = answer_.get();
    thread_.join();
    return answer;
}

void Knock::wait()
{
    if (thread_.joinable())
        thread_.join();
}

} // namespace panelhost
