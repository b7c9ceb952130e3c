// The kernels of the float FFT for all instruction levels.
#include "transform/fft32fkernels.h"

#include <cstddef>
#include <type_traits>
#include <utility>

#include "frame/constmath.h"
#include "frame/status.h"
#include "transform/fft32ftables.h"

namespace qorac {
namespace {

constexpr int log2Of(int n) { return n == 1 ? 0 : 1 + log2Of(n / 2); }

// exp(-2 pi j k / 32).
struct Roots {
    float re[32], im[32];
};
constexpr Roots kRoots32 = [] {
    constexpr auto cosine = constmath::makeTable<float, 32>(
        [](int k) { return static_cast<double>(constmath::cosPi(k, 16)); });
    Roots roots{};
    for (int k = 0; k < 32; ++k) {
        roots.re[k] = cosine[k];
        roots.im[k] = -cosine[(k + 24) % 32];
    }
    return roots;
}();

// exp(-2 pi j b m / 2^order) for b from 0 to 3 in the lanes and m from 1.
template <int order>
struct LastStageTwiddles {
    Qor32f re[1 << (order - 2)][4], im[1 << (order - 2)][4];

    consteval LastStageTwiddles() {
        for (int m = 0; m < 1 << (order - 2); ++m) {
            for (int b = 0; b < 4; ++b) {
                re[m][b] = kRoots32.re[(b * m << (5 - order)) % 32];
                im[m][b] = kRoots32.im[(b * m << (5 - order)) % 32];
            }
        }
    }
};

template <int order>
constexpr LastStageTwiddles<order> kLastStageTwiddles;

// The same for m from 0 in the second stage of the orders that stand in rows of 16: lane i of set s
// holds butterfly i / 8 + 2 s or, in order 6, whose lanes tell all four apart, with bit 2 as well.
template <int order>
struct ShortTwiddles {
    alignas(64) Qor32f re[2][8][16], im[2][8][16];

    consteval ShortTwiddles() : re(), im() {
        for (int set = 0; set < 2; ++set) {
            for (int m = 0; m < 8; ++m) {
                for (int i = 0; i < 16; ++i) {
                    const int b = i / 8 + 2 * (order == 6 ? i / 4 % 2 : set);
                    re[set][m][i] = kRoots32.re[(order == 8 ? 1 : 2) * b * m % 32];
                    im[set][m][i] = kRoots32.im[(order == 8 ? 1 : 2) * b * m % 32];
                }
            }
        }
    }
};
template <int order>
[[maybe_unused]] constexpr ShortTwiddles<order> kShortTwiddles;

// exp(-2 pi j n k / 64).
struct SquareTwiddles {
    alignas(32) Qor32f re[8][8], im[8][8];

    consteval SquareTwiddles() : re(), im() {
        for (int n = 0; n < 8; ++n) {
            for (int k = 0; k < 8; ++k) {
                re[n][k] = Qor32f(constmath::cosPi(n * k, 32));
                im[n][k] = Qor32f(-constmath::sinPi(n * k, 32));
            }
        }
    }
};
[[maybe_unused]] constexpr SquareTwiddles kSquareTwiddles;

// The stages behind the first pass.
struct Stages {
    struct Stage {
        int bits;  // log2 of the radix
        int done;  // order bits done before it, so that its span is 2^done
        const Qor32f* pTwd;
    };
    Stage stage[8] = {};
    int count = 0;
    int first;  // order bits of the first pass

    Stages(Qor32s order, const Qor32f* pTwd) {
        for (int done = 2; done < order;) {
            const int bits = fftStageBits(order - done);
            stage[count++] = {bits, done, pTwd};
            pTwd += (std::ptrdiff_t{8} * ((1 << bits) - 1) << done) / 4;
            done += bits;
        }
        first = 2 + stage[0].bits;
    }
};

}  // namespace
}  // namespace qorac

#define QORAC_KERNEL "transform/fft32f_kernel.h"
#include "frame/levels.h"

namespace qorac {

QORAC_BIND(const Fft32fKernels&, kernels, (), ())

const Fft32fKernels& fft32fKernels() { return kernels(); }

}  // namespace qorac
