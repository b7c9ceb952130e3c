#include <cstdlib>

#include "qorcore.h"

void* qorMalloc(Qor32s len) {
    if (len < 1) return nullptr;
    void* block = nullptr;
    return posix_memalign(&block, 64, static_cast<std::size_t>(len)) == 0 ? block : nullptr;
}

void qorFree(void* p) { std::free(p); }
