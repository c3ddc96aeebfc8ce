// The replaced global allocation functions: malloc and free, with a count
// per thread. Kept in a file of their own so that no caller inlines them.
#include "allocation_counter.h"

#include <cstdlib>
#include <new>

namespace {
thread_local uint64_t t_allocations = 0;
}

namespace pava::bench {
uint64_t allocationsOfThisThread() noexcept { return t_allocations; }
}  // namespace pava::bench

void* operator new(std::size_t size) {
    ++t_allocations;
    if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
    throw std::bad_alloc();
}
void* operator new[](std::size_t size) { return ::operator new(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    ++t_allocations;
    return std::malloc(size == 0 ? 1 : size);
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept { return ::operator new(size, tag); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }
