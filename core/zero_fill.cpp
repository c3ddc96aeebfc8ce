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

// n >= 512. Reads back from the end in aligned blocks of 256 bytes while they
// are zero, then clears everything in front of the first block that is not.
// Every byte is either read as zero or stored to; nothing outside [p, p+n) is
// touched.
__attribute__((target("avx2,avx512f"))) void zeroFillReusedAvx512(char* p, size_t n) noexcept {
    char* const end = p + n;
    const __m512i tail = _mm512_loadu_si512(end - 64);
    if (_mm512_test_epi64_mask(tail, tail) != 0) {
        // Written to its end: nothing to skip.
        zeroFillAvx2(p, n);
        return;
    }
    const char* const first = reinterpret_cast<char*>((reinterpret_cast<uintptr_t>(p) + 63) & ~uintptr_t{63});
    char* at = reinterpret_cast<char*>(reinterpret_cast<uintptr_t>(end) & ~uintptr_t{63});
    while (at - first >= 256) {
        const char* block = at - 256;
        const __m512i any = _mm512_or_si512(
            _mm512_ternarylogic_epi64(_mm512_load_si512(block), _mm512_load_si512(block + 64),
                                      _mm512_load_si512(block + 128), 0xFE),
            _mm512_load_si512(block + 192));
        if (_mm512_test_epi64_mask(any, any) != 0) break;
        at -= 256;
    }
    const auto front = static_cast<size_t>(at - p);
    if (front >= 64)
        zeroFillAvx2(p, front);
    else
        std::memset(p, 0, front);
}

bool hasAvx512() noexcept {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("avx512f") != 0;
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

void zeroFillReused(void* p, size_t n) noexcept {
#ifdef ZMPAVA_ZERO_FILL_AVX2
    // With 256-bit loads alone, reading a block back costs about what
    // clearing it does, so only 512-bit loads make the read worth it.
    static const bool avx512 = hasAvx512();
    if (n >= 512 && avx512) {
        zeroFillReusedAvx512(static_cast<char*>(p), n);
        return;
    }
#endif
    zeroFill(p, n);
}

}  // namespace pava
