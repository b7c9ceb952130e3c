// The float QMF banks under one name each, in memory that shows a stray access.
#pragma once

#include <array>
#include <complex>
#include <cstring>
#include <vector>

#include "gtest/gtest.h"
#include "qorac.h"
#include "sbr/qmfwindow.h"
#include "sbr/sbrqmf32f.h"
#include "support/memory.h"

namespace qorac::test {

using Subbands = std::vector<std::complex<double>>;

// c(i) for 64 bands, c(2i) for 32.
inline std::vector<float> standardWindow(int bands) {
    std::vector<float> window(std::size_t(10 * bands));
    for (int i = 0; i < 10 * bands; ++i) window[std::size_t(i)] = qmfWindow(i * (64 / bands));
    return window;
}

struct QmfSizes {
    Qor32s spec = -1, init = -1, buffer = -1;
    bool operator==(const QmfSizes&) const = default;
};

// Rows of N sub-bands, each with one element before it that no bank may touch; the last row ends at
// a guard page.
template <typename T>
class Rows {
  public:
    Rows(int count, int bands) : bands_(bands), data_(std::size_t(count * (bands + 1))) {
        std::memset(data_.data(), kUntouched, data_.size() * sizeof(T));
        for (int l = 0; l < count; ++l)
            pointers_.push_back(data_.data() + 1 + std::size_t(l * (bands + 1)));
        for (int l = 0; l < count; ++l) constPointers_.push_back(pointers_[std::size_t(l)]);
    }

    T* const* pointers() const { return pointers_.data(); }
    const T* const* constPointers() const { return constPointers_.data(); }
    T& at(int row, int k) { return pointers_[std::size_t(row)][k]; }
    const T& at(int row, int k) const { return pointers_[std::size_t(row)][k]; }
    bool rowIsUntouched(int row) const { return untouched(pointers_[std::size_t(row)], bands_); }
    // The elements between the rows.
    bool marginsAreUntouched() const {
        for (const T* row : pointers_)
            if (!untouched(row - 1, 1)) return false;
        return true;
    }

  private:
    static constexpr unsigned char kUntouched = 0x5a;

    bool untouched(const T* first, int count) const {
        const auto* bytes = reinterpret_cast<const unsigned char*>(first);
        for (std::size_t i = 0; i < std::size_t(count) * sizeof(T); ++i)
            if (bytes[i] != kUntouched) return false;
        return true;
    }

    int bands_;
    Guarded<T> data_;
    std::vector<T*> pointers_;
    std::vector<const T*> constPointers_;
};

// --- the forms ---------------------------------------------------------------------------------

// Sub-bands in the form of the bank, with the arguments of the filters that hold them.
struct SplitSubbands {
    Rows<Qor32f> re, im;

    SplitSubbands(int count, int bands) : re(count, bands), im(count, bands) {}
    std::complex<double> get(int row, int k) const { return {re.at(row, k), im.at(row, k)}; }
    void set(int row, int k, std::complex<float> x) {
        re.at(row, k) = x.real();
        im.at(row, k) = x.imag();
    }
    bool rowIsUntouched(int row) const { return re.rowIsUntouched(row) && im.rowIsUntouched(row); }
    bool marginsAreUntouched() const {
        return re.marginsAreUntouched() && im.marginsAreUntouched();
    }
};

struct ComplexSubbands {
    Rows<Qor32fc> row;

    ComplexSubbands(int count, int bands) : row(count, bands) {}
    std::complex<double> get(int l, int k) const { return {row.at(l, k).re, row.at(l, k).im}; }
    void set(int l, int k, std::complex<float> x) { row.at(l, k) = {x.real(), x.imag()}; }
    bool rowIsUntouched(int l) const { return row.rowIsUntouched(l); }
    bool marginsAreUntouched() const { return row.marginsAreUntouched(); }
};

struct RealSubbands {
    Rows<Qor32f> row;

    RealSubbands(int count, int bands) : row(count, bands) {}
    std::complex<double> get(int l, int k) const { return row.at(l, k); }
    void set(int l, int k, std::complex<float> x) { row.at(l, k) = x.real(); }
    bool rowIsUntouched(int l) const { return row.rowIsUntouched(l); }
    bool marginsAreUntouched() const { return row.marginsAreUntouched(); }
};

struct AnalysisToSplit {
    using Data = SplitSubbands;
    static constexpr Qor32u id = 0x434D4157;
    static constexpr QmfSizes sizes{1535, 4, 4};
    static constexpr int ringFloats = 320;
    static constexpr bool real = false, scratchFirst = true;
    static constexpr auto getSize = qorsAnalysisFilterGetSize_SBR_RToC_32f;
    static constexpr auto init = qorsAnalysisFilterInit_SBR_RToC_32f;
    static QorStatus filter(const Qor32f* src, Data* dst, const Qor32f* window, Qor32s numLoop,
                            Qor32s offset, Qor32s kx, QorsFilterSpec_SBR_32f* spec, Qor8u* buffer) {
        return qorsAnalysisFilter_SBR_RToC_32f_D2L(src, dst ? dst->re.pointers() : nullptr,
                                                   dst ? dst->im.pointers() : nullptr, window,
                                                   numLoop, offset, kx, spec, buffer);
    }
};
struct AnalysisToComplex {
    using Data = ComplexSubbands;
    static constexpr Qor32u id = 0x434D4156;
    static constexpr QmfSizes sizes{1535, 4, 4};
    static constexpr int ringFloats = 320;
    static constexpr bool real = false, scratchFirst = false;
    static constexpr auto getSize = qorsAnalysisFilterGetSize_SBR_RToC_32f32fc;
    static constexpr auto init = qorsAnalysisFilterInit_SBR_RToC_32f32fc;
    static QorStatus filter(const Qor32f* src, Data* dst, const Qor32f* window, Qor32s numLoop,
                            Qor32s offset, Qor32s kx, QorsFilterSpec_SBR_32f* spec, Qor8u* buffer) {
        return qorsAnalysisFilter_SBR_RToC_32f32fc_D2L(src, dst ? dst->row.pointers() : nullptr,
                                                       window, numLoop, offset, kx, spec, buffer);
    }
};
struct AnalysisToReal {
    using Data = RealSubbands;
    static constexpr Qor32u id = 0x434D4158;
    static constexpr QmfSizes sizes{1647, 4, 164};
    static constexpr int ringFloats = 320;
    static constexpr bool real = true, scratchFirst = false;
    static constexpr auto getSize = qorsAnalysisFilterGetSize_SBR_RToR_32f;
    static constexpr auto init = qorsAnalysisFilterInit_SBR_RToR_32f;
    static QorStatus filter(const Qor32f* src, Data* dst, const Qor32f* window, Qor32s numLoop,
                            Qor32s offset, Qor32s kx, QorsFilterSpec_SBR_32f* spec, Qor8u* buffer) {
        return qorsAnalysisFilter_SBR_RToR_32f_D2L(src, dst ? dst->row.pointers() : nullptr, window,
                                                   numLoop, offset, kx, spec, buffer);
    }
};

template <auto filterFunction>
QorStatus synthesizeSplit(const SplitSubbands* src, Qor32f* dst, const Qor32f* window,
                          Qor32s numLoop, QorsFilterSpec_SBR_32f* spec, Qor8u* buffer) {
    return filterFunction(src ? src->re.constPointers() : nullptr,
                          src ? src->im.constPointers() : nullptr, dst, window, numLoop, spec,
                          buffer);
}
template <auto filterFunction, typename Data>
QorStatus synthesize(const Data* src, Qor32f* dst, const Qor32f* window, Qor32s numLoop,
                     QorsFilterSpec_SBR_32f* spec, Qor8u* buffer) {
    return filterFunction(src ? src->row.constPointers() : nullptr, dst, window, numLoop, spec,
                          buffer);
}

struct SynthesisOfSplit {
    using Data = SplitSubbands;
    static constexpr Qor32u id = 0x434D415A;
    static constexpr QmfSizes sizes{5375, 4, 4};
    static constexpr int ringFloats = 1280;
    static constexpr int bands = 64;
    static constexpr bool real = false, scratchFirst = true;
    static constexpr auto getSize = qorsSynthesisFilterGetSize_SBR_CToR_32f;
    static constexpr auto init = qorsSynthesisFilterInit_SBR_CToR_32f;
    static constexpr auto filter = synthesizeSplit<qorsSynthesisFilter_SBR_CToR_32f_D2L>;
};
struct SynthesisOfComplex {
    using Data = ComplexSubbands;
    static constexpr Qor32u id = 0x434D4159;
    static constexpr QmfSizes sizes{5375, 4, 4};
    static constexpr int ringFloats = 1280;
    static constexpr int bands = 64;
    static constexpr bool real = false, scratchFirst = false;
    static constexpr auto getSize = qorsSynthesisFilterGetSize_SBR_CToR_32fc32f;
    static constexpr auto init = qorsSynthesisFilterInit_SBR_CToR_32fc32f;
    static constexpr auto filter =
        synthesize<qorsSynthesisFilter_SBR_CToR_32fc32f_D2L, ComplexSubbands>;
};
struct SynthesisOfReal {
    using Data = RealSubbands;
    static constexpr Qor32u id = 0x434D415B;
    static constexpr QmfSizes sizes{7231, 4, 1092};
    static constexpr int ringFloats = 1281;
    static constexpr int bands = 64;
    static constexpr bool real = true, scratchFirst = false;
    static constexpr auto getSize = qorsSynthesisFilterGetSize_SBR_RToR_32f;
    static constexpr auto init = qorsSynthesisFilterInit_SBR_RToR_32f;
    static constexpr auto filter = synthesize<qorsSynthesisFilter_SBR_RToR_32f_D2L, RealSubbands>;
};
struct DownSynthesisOfSplit {
    using Data = SplitSubbands;
    static constexpr Qor32u id = 0x434D415D;
    static constexpr QmfSizes sizes{3471, 4, 548};
    static constexpr int ringFloats = 640;
    static constexpr int bands = 32;
    static constexpr bool real = false, scratchFirst = true;
    static constexpr auto getSize = qorsSynthesisDownFilterGetSize_SBR_CToR_32f;
    static constexpr auto init = qorsSynthesisDownFilterInit_SBR_CToR_32f;
    static constexpr auto filter = synthesizeSplit<qorsSynthesisDownFilter_SBR_CToR_32f_D2L>;
};
struct DownSynthesisOfComplex {
    using Data = ComplexSubbands;
    static constexpr Qor32u id = 0x434D415C;
    static constexpr QmfSizes sizes{3471, 4, 548};
    static constexpr int ringFloats = 640;
    static constexpr int bands = 32;
    static constexpr bool real = false, scratchFirst = false;
    static constexpr auto getSize = qorsSynthesisDownFilterGetSize_SBR_CToR_32fc32f;
    static constexpr auto init = qorsSynthesisDownFilterInit_SBR_CToR_32fc32f;
    static constexpr auto filter =
        synthesize<qorsSynthesisDownFilter_SBR_CToR_32fc32f_D2L, ComplexSubbands>;
};
struct DownSynthesisOfReal {
    using Data = RealSubbands;
    static constexpr Qor32u id = 0x434D415E;
    static constexpr QmfSizes sizes{2927, 4, 164};
    static constexpr int ringFloats = 640;
    static constexpr int bands = 32;
    static constexpr bool real = true, scratchFirst = false;
    static constexpr auto getSize = qorsSynthesisDownFilterGetSize_SBR_RToR_32f;
    static constexpr auto init = qorsSynthesisDownFilterInit_SBR_RToR_32f;
    static constexpr auto filter =
        synthesize<qorsSynthesisDownFilter_SBR_RToR_32f_D2L, RealSubbands>;
};

// --- a bank ------------------------------------------------------------------------------------

// Built in blocks of exactly the sizes that GetSize tells, which end at guard pages (atEnd) or
// start `shift` bytes behind one, full of other data.
template <typename Form>
class FloatBank {
  public:
    explicit FloatBank(std::size_t shift = 0, bool atEnd = true)
        : memory_(std::size_t(Form::sizes.spec) + (atEnd ? 0 : shift), atEnd),
          init_(std::size_t(Form::sizes.init), atEnd),
          buffer_(std::size_t(Form::sizes.buffer), atEnd) {
        std::memset(memory_.data(), 0xa5, memory_.size());
        start_ = memory_.data() + (atEnd ? 0 : shift);
        EXPECT_EQ(Form::init(&spec_, start_, init_.data()), qorStsNoErr);
    }

    QorsFilterSpec_SBR_32f* spec() const { return spec_; }
    Qor8u* memory() const { return start_; }
    Qor8u* buffer() { return buffer_.data(); }
    std::vector<Qor8u> state() { return memory_.copy(); }

  private:
    Guarded<Qor8u> memory_, init_, buffer_;
    Qor8u* start_ = nullptr;
    QorsFilterSpec_SBR_32f* spec_ = nullptr;
};

// --- what all banks have in common -------------------------------------------------------------

template <typename Form>
void checkSizes() {
    QmfSizes s;
    ASSERT_EQ(Form::getSize(&s.spec, &s.init, &s.buffer), qorStsNoErr);
    EXPECT_EQ(s, Form::sizes);
    for (int null = 0; null < 3; ++null) {
        QmfSizes t;
        EXPECT_EQ(Form::getSize(null == 0 ? nullptr : &t.spec, null == 1 ? nullptr : &t.init,
                                null == 2 ? nullptr : &t.buffer),
                  qorStsNullPtrErr);
        EXPECT_EQ(t, QmfSizes{});
    }
}

template <typename Form>
void checkInit() {
    std::vector<Qor8u> memory(std::size_t(Form::sizes.spec), 7), init(4);
    QorsFilterSpec_SBR_32f* spec = nullptr;
    EXPECT_EQ(Form::init(nullptr, memory.data(), init.data()), qorStsNullPtrErr);
    EXPECT_EQ(Form::init(&spec, nullptr, init.data()), qorStsNullPtrErr);
    EXPECT_EQ(Form::init(&spec, memory.data(), nullptr), qorStsNullPtrErr);
    EXPECT_EQ(spec, nullptr);
    EXPECT_EQ(memory, std::vector<Qor8u>(memory.size(), 7));

    for (std::size_t shift = 0; shift < 64; ++shift) {
        const FloatBank<Form> bank(shift, false);
        EXPECT_EQ(bank.spec()->id, Form::id);
        EXPECT_EQ(bank.spec()->ringPos, 0);
        EXPECT_TRUE(isAligned16(bank.spec()));
        EXPECT_TRUE(isAligned16(bank.spec()->pRing));
        EXPECT_GT(reinterpret_cast<Qor8u*>(bank.spec()), bank.memory());
        EXPECT_GE(reinterpret_cast<Qor8u*>(bank.spec()->pRing),
                  reinterpret_cast<Qor8u*>(bank.spec() + 1));
        EXPECT_LE(reinterpret_cast<Qor8u*>(bank.spec()->pRing + Form::ringFloats),
                  bank.memory() + Form::sizes.spec);
    }
}

}  // namespace qorac::test
