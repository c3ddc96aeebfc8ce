#include "zero_fill.h"

#include <cstdint>
#include <cstring>

#if (defined(__GNUC__) || defined(__clang__)) && (defined(__x86_64__) || defined(__i386__))
#define ZMPAVA_ZERO_FILL_AVX2 1
#include <immintrin.h>
#endif

namespace pava {

namespace {

#ifdef ZMPAVA_ZERO_FILL_AVX2

// n >= 64. Unaligned stores at both ends, aligned ones between them: a store
// that splits a cache line costs about two.
__attribute__((target("avx2"))) void zeroFillAvx2(char* p, size_t n) noexcept {
    const __m256i zero = _mm256_setzero_si256();
    char* const end = p + n;
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), zero);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(end - 32), zero);
    auto* at = reinterpret_cast<__m256i*>((reinterpret_cast<uintptr_t>(p) + 32) & ~uintptr_t{31});
    auto* const last = reinterpret_cast<__m256i*>(reinterpret_cast<uintptr_t>(end) & ~uintptr_t{31});
    for (; at + 4 <= last; at += 4) {
        _mm256_store_si256(at, zero);
        _mm256_store_si256(at + 1, zero);
        _mm256_store_si256(at + 2, zero);
        _mm256_store_si256(at + 3, zero);
    }
    for (; at < last; ++at) _mm256_store_si256(at, zero);
}

bool hasAvx2() noexcept {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") != 0;
}

#endif

}  // namespace

void zeroFill(void* p, size_t n) noexcept {
#ifdef ZMPAVA_ZERO_FILL_AVX2
    // Decided once per process; reading it afterwards is a plain load.
    static const bool avx2 = hasAvx2();
    if (n >= 256 && avx2) {
        zeroFillAvx2(static_cast<char*>(p), n);
        return;
    }
#endif
    std::memset(p, 0, n);
}

}  // namespace pava
