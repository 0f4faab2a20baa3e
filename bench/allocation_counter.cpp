// Stands in front of the C library's allocator, under which operator new and Qt allocate.

#include "allocation_counter.h"

#include <atomic>
#include <cstddef>

namespace {
std::atomic<long> count{0};
}

extern "C" {

void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t members, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);

void* malloc(std::size_t size)
{
    ++count;
    return __libc_malloc(size);
}

void* calloc(std::size_t members, std::size_t size)
{
    ++count;
    return __libc_calloc(members, size);
}

void* realloc(void* block, std::size_t size)
{
    ++count;
    return __libc_realloc(block, size);
}

} // extern "C"

long bench::allocations()
{
    return count;
}
