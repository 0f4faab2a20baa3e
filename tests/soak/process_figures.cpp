#include "process_figures.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <malloc.h>
#include <unistd.h>

namespace {

size_t entries(const char* directory)
{
    const std::filesystem::directory_iterator all(directory);
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

size_t lines(const char* path)
{
    std::ifstream file(path);
    return static_cast<size_t>(std::count(std::istreambuf_iterator<char>(file), {}, '\n'));
}

size_t residentBytes()
{
    std::ifstream file("/proc/self/statm");
    size_t total = 0;
    size_t resident = 0;
    file >> total >> resident;
    return resident * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

} // namespace

ProcessFigures processFigures()
{
    ProcessFigures figures;
    figures.residentBytes = residentBytes();
    figures.heapBytes = mallinfo2().uordblks;
    figures.openFiles = entries("/proc/self/fd");
    figures.threads = entries("/proc/self/task");
    figures.mappings = lines("/proc/self/maps");
    return figures;
}
