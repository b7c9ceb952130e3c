// The library's only door to the allocator.
#pragma once

#include "qorac.h"

namespace qorac {

// A length below 1 gives null without a call of the allocator. The block starts on a 64-byte
// boundary when it comes from libqorcorex64; a replacement must keep at least 32 bytes.
Qor8u* qorsMalloc_8u(Qor32s len);
Qor32f* qorsMalloc_32f(Qor32s len);
void qorsFree(void* p);

}  // namespace qorac
