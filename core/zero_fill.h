// Clearing large blocks (a frame, a record's fixed part) at the store rate of
// the processor.
#ifndef ZMPAVA_CORE_ZERO_FILL_H
#define ZMPAVA_CORE_ZERO_FILL_H

#include <cstddef>

namespace pava {

// Sets n bytes from p to zero. Blocks of a few hundred bytes and more go
// through 32-byte aligned vector stores where the processor has them: the C
// library's memset switches to a string instruction at that size, which some
// processors run at half the store rate.
void zeroFill(void* p, size_t n) noexcept;

}  // namespace pava

#endif
