// Resident memory of one cyclic variable that was read: its entry in the read list, its place in the
// station store, its value. Prints bytes per variable.

#include "scenario.h"

#include <cstdio>
#include <unistd.h>

namespace {

const int kVariables = 100000;
const int kStations = 1000;

long residentBytes()
{
    long total = 0;
    long resident = 0;
    std::FILE* statm = std::fopen("/proc/self/statm", "r");
    const bool read = statm != nullptr && std::fscanf(statm, "%ld %ld", &total, &resident) == 2;
    if (statm != nullptr)
        std::fclose(statm);
    return read ? resident * sysconf(_SC_PAGESIZE) : -1;
}

} // namespace

int main()
{
    {
        const bench::Scenario first(10, 1);
    } // brings in Qt's pages
    const long before = residentBytes();
    const bench::Scenario scenario(kVariables, kStations);
    const long after = residentBytes();
    if (before < 0 || after < 0)
        return 1;
    std::printf("memory_per_variable %.0f\n", double(after - before) / kVariables);
    return 0;
}
