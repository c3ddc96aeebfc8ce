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

// The same result for a block that is being reused: one written from its
// front, with zeros behind what was written, as an encoded frame is. Where
// the processor loads twice as many bytes per cycle as it stores, the block
// is read back from its end and only the part up to its last non-zero byte is
// stored to; any other content is still cleared completely.
void zeroFillReused(void* p, size_t n) noexcept;

}  // namespace pava

#endif
