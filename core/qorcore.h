// The allocator pair of libqorcorex64. A program or a preloaded library that defines the two
// functions replaces them for libqoracn8 as well; a replacement must return blocks on a boundary
// of at least 32 bytes.
#pragma once

#include "qorac.h"

extern "C" {
#pragma GCC visibility push(default)

// A block of `len` bytes on a 64-byte boundary; null on failure or for a length below 1.
void* qorMalloc(Qor32s len);

// Releases a block; null is allowed.
void qorFree(void* p);

#pragma GCC visibility pop
}
