// Counts the allocations of this process through its own operator new.
#ifndef ZMPAVA_BENCH_ALLOCATION_COUNTER_H
#define ZMPAVA_BENCH_ALLOCATION_COUNTER_H

#include <cstdint>

namespace pava::bench {

// Allocations made by the calling thread so far.
uint64_t allocationsOfThisThread() noexcept;

}  // namespace pava::bench

#endif
