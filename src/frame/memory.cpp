#include "frame/memory.h"

#include "qorcore.h"

namespace qorac {

Qor8u* qorsMalloc_8u(Qor32s len) { return len < 1 ? nullptr : static_cast<Qor8u*>(qorMalloc(len)); }

Qor32f* qorsMalloc_32f(Qor32s len) {
    constexpr Qor32s kMaxElements = 0x7FFFFFFF / Qor32s(sizeof(Qor32f));
    if (len < 1 || len > kMaxElements) return nullptr;
    return static_cast<Qor32f*>(qorMalloc(len * Qor32s(sizeof(Qor32f))));
}

void qorsFree(void* p) { qorFree(p); }

}  // namespace qorac
