// Counts heap allocations of this process.

#ifndef BENCH_ALLOCATION_COUNTER_H
#define BENCH_ALLOCATION_COUNTER_H

namespace bench {

/// Calls of malloc, calloc and realloc so far, whoever made them.
long allocations();

} // namespace bench

#endif // BENCH_ALLOCATION_COUNTER_H
