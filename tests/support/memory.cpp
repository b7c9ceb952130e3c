#include "support/memory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <limits>

#include "qorac.h"

namespace qorac::test {

namespace {

std::atomic<int> calls{0};
std::atomic<int> live{0};
std::atomic<int> failFrom{std::numeric_limits<int>::max()};

std::size_t pageSize() { return static_cast<std::size_t>(sysconf(_SC_PAGESIZE)); }

}  // namespace

GuardedBytes::GuardedBytes(std::size_t size, bool atEnd) : size_(size) {
    const std::size_t page = pageSize();
    const std::size_t body = (size + page - 1) / page * page;
    mapSize_ = body + 2 * page;
    void* map = mmap(nullptr, mapSize_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (map == MAP_FAILED) std::abort();
    map_ = static_cast<unsigned char*>(map);
    if (mprotect(map_, page, PROT_NONE) != 0 || mprotect(map_ + page + body, page, PROT_NONE) != 0)
        std::abort();
    data_ = map_ + page + (atEnd ? body - size : 0);
}

GuardedBytes::~GuardedBytes() { munmap(map_, mapSize_); }

FailingAllocator::FailingAllocator(int nth) { failFrom = calls + nth; }
FailingAllocator::~FailingAllocator() { failFrom = std::numeric_limits<int>::max(); }

int liveBlocks() { return live; }
int allocationCalls() { return calls; }

}  // namespace qorac::test

// The test program's own allocator pair, which takes the place of libqorcorex64's.
extern "C" __attribute__((visibility("default"))) void* qorMalloc(Qor32s len) {
    using namespace qorac::test;
    if (calls++ >= failFrom || len < 1) return nullptr;
    void* block = nullptr;
    if (posix_memalign(&block, 64, static_cast<std::size_t>(len)) != 0) return nullptr;
    ++live;
    return block;
}

extern "C" __attribute__((visibility("default"))) void qorFree(void* block) {
    if (block != nullptr) --qorac::test::live;
    std::free(block);
}
