// A stream to read from, and the cursor that reads it.
#pragma once

#include "reference/bitwriter.h"
#include "support/memory.h"

namespace qorac::test {

// Ends at a guard page three bytes behind the last bit written: what a reader may touch and no
// more.
struct Stream {
    explicit Stream(const reference::BitWriter& writer, int start = 0)
        : bytes(std::span<const Qor8u>(writer.bytes(3))), p(bytes.data()), offset(start) {}

    // Bits from the start of the stream.
    std::size_t position() { return std::size_t(p - bytes.data()) * 8 + std::size_t(offset); }

    Guarded<Qor8u> bytes;
    Qor8u* p;
    Qor32s offset;
};

}  // namespace qorac::test
