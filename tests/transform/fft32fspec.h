// A float FFT spec with memory and scratch of exactly the reported sizes, each of which ends at an
// inaccessible page.
#pragma once

#include <memory>

#include "gmock/gmock.h"
#include "support/memory.h"
#include "transform/fft32f.h"

namespace qorac::test {

enum class FftKind { kComplex, kSplit, kReal };

struct FftSizes {
    Qor32s spec = -1, init = -1, buffer = -1;
    friend bool operator==(const FftSizes&, const FftSizes&) = default;
};

inline QorStatus getSize(FftKind kind, Qor32s order, Qor32s flag, FftSizes& sizes) {
    const auto function = kind == FftKind::kComplex ? qorsFFTGetSize_C_32fc
                          : kind == FftKind::kSplit ? qorsFFTGetSize_C_32f
                                                    : qorsFFTGetSize_R_32f;
    return function(order, flag, 0, &sizes.spec, &sizes.init, &sizes.buffer);
}

inline auto initFunction(FftKind kind) {
    return kind == FftKind::kComplex ? qorsFFTInit_C_32fc
           : kind == FftKind::kSplit ? qorsFFTInit_C_32f
                                     : qorsFFTInit_R_32f;
}

class Fft {
  public:
    Fft(FftKind kind, Qor32s order, Qor32s flag, Qor32s hint = 0) {
        FftSizes sizes;
        EXPECT_EQ(getSize(kind, order, flag, sizes), qorStsNoErr);
        memory_ = std::make_unique<GuardedBytes>(sizes.spec);
        buffer_ = std::make_unique<GuardedBytes>(sizes.buffer);
        GuardedBytes init(sizes.init);
        EXPECT_EQ(initFunction(kind)(&spec_, order, flag, hint, memory_->data(),
                                     sizes.init == 0 ? nullptr : init.data()),
                  qorStsNoErr);
    }

    QorsFFTSpec_32f* operator->() { return spec_; }
    QorsFFTSpec_32f* get() { return spec_; }
    Qor8u* buffer() { return buffer_->size() == 0 ? nullptr : buffer_->data(); }
    const GuardedBytes& memory() const { return *memory_; }

  private:
    std::unique_ptr<GuardedBytes> memory_, buffer_;
    QorsFFTSpec_32f* spec_ = nullptr;
};

}  // namespace qorac::test
