// Buffers that show a stray access, and an allocator that fails on demand.
#pragma once

#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <span>
#include <vector>

namespace qorac::test {

// `size` bytes that end exactly at an inaccessible page (atEnd) or begin right behind one (not
// atEnd): an access past that side ends the program.
class GuardedBytes {
  public:
    explicit GuardedBytes(std::size_t size, bool atEnd = true);
    ~GuardedBytes();
    GuardedBytes(const GuardedBytes&) = delete;
    GuardedBytes& operator=(const GuardedBytes&) = delete;

    unsigned char* data() { return data_; }
    std::size_t size() const { return size_; }

  private:
    unsigned char* map_;
    std::size_t mapSize_;
    unsigned char* data_;
    std::size_t size_;
};

// An array of T between guard pages, see GuardedBytes.
template <typename T>
class Guarded {
  public:
    explicit Guarded(std::size_t count, bool atEnd = true)
        : bytes_(count * sizeof(T), atEnd), count_(count) {}
    explicit Guarded(std::span<const T> values, bool atEnd = true) : Guarded(values.size(), atEnd) {
        if (!values.empty()) std::memcpy(data(), values.data(), values.size_bytes());
    }

    T* data() { return reinterpret_cast<T*>(bytes_.data()); }
    std::size_t size() const { return count_; }
    T& operator[](std::size_t i) { return data()[i]; }
    std::span<T> span() { return {data(), count_}; }
    std::vector<T> copy() { return {data(), data() + count_}; }

  private:
    GuardedBytes bytes_;
    std::size_t count_;
};

// While one of these lives, the allocation number `nth` from its start (0 is the next one) and all
// that follow return null.
class FailingAllocator {
  public:
    explicit FailingAllocator(int nth);
    ~FailingAllocator();
    FailingAllocator(const FailingAllocator&) = delete;
    FailingAllocator& operator=(const FailingAllocator&) = delete;
};

// Blocks that qorMalloc has handed out in this program and that were not released.
int liveBlocks();
// Calls of qorMalloc so far.
int allocationCalls();

}  // namespace qorac::test
