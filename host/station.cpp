#include "station.h"

#include <algorithm>
#include <random>

namespace panelhost {
namespace {

std::chrono::milliseconds randomBetween(int lowest, int highest)
{
    thread_local std::mt19937 generator{std::random_device{}()};
    return std::chrono::milliseconds(
        std::uniform_int_distribution<int>(lowest, highest)(generator));
}

} // namespace

std::string silenceInWords(const StationSettings& settings)
{
    return "no answer within " + std::to_string(settings.timeout.count()) + " ms";
}

std::chrono::milliseconds BackOff::next(StationTrouble trouble, Clock::duration stalled)
{
    ++failures_;
    // The driver's random serial changes once a second; sooner the same refusal would come.
    if (trouble == StationTrouble::ConnectionBusy)
        return randomBetween(1050, 1600);
    if (failures_ == 1)
        return randomBetween(20, 100);
    constexpr int kSecond = 250;
    const int doublings = std::min(failures_ - 2, 10);
    const int delay =
        static_cast<int>(std::min<long>(long{kSecond} << doublings, kLongest.count()));
    const auto fair =
        std::chrono::duration_cast<std::chrono::milliseconds>(stalled * kShareOfOthers);
    return std::max(randomBetween(delay * 3 / 4, delay), fair);
}

} // namespace panelhost
