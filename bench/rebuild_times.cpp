// Time of rebuilding the read list from the addresses of one array in random order: best of several,
// by the clock on the wall and by the processor's, which other programs do not disturb as much.

#include "scenario.h"

#include <algorithm>
#include <cstdio>
#include <ctime>

namespace {

const int kRuns = 25;

double now(clockid_t clock)
{
    timespec time;
    clock_gettime(clock, &time);
    return double(time.tv_sec) + 1e-9 * double(time.tv_nsec);
}

void measureRebuild(int records)
{
    const bench::Scenario scenario(1, 1);
    const bench::ShuffledArray array(records);
    double wall = 1e9;
    double processor = 1e9;
    for (int run = 0; run < kRuns; ++run) {
        const double wallBegan = now(CLOCK_MONOTONIC);
        const double processorBegan = now(CLOCK_THREAD_CPUTIME_ID);
        ReCreatReadVarList(&array.addresses());
        processor = std::min(processor, now(CLOCK_THREAD_CPUTIME_ID) - processorBegan);
        wall = std::min(wall, now(CLOCK_MONOTONIC) - wallBegan);
    }
    std::printf("rebuild_%d_wall_ms %.3f\n", records, 1e3 * wall);
    std::printf("rebuild_%d_processor_ms %.3f\n", records, 1e3 * processor);
}

} // namespace

int main()
{
    measureRebuild(10000);
    measureRebuild(100000);
    return 0;
}
