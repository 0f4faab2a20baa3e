// What this process holds at the moment, as the kernel and the allocator see it.

#ifndef MICRO850_TESTS_PROCESS_FIGURES_H
#define MICRO850_TESTS_PROCESS_FIGURES_H

#include <cstddef>

struct ProcessFigures {
    size_t residentBytes;
    size_t heapBytes; ///< in use; 0 under tools that bring their own allocator
    size_t openFiles;
    size_t threads;
    size_t mappings;
};

ProcessFigures processFigures();

#endif // MICRO850_TESTS_PROCESS_FIGURES_H
