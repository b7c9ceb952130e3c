// Compiles one kernel file for every instruction level, for kernels that need explicit vectors.
//
// QORAC_CLONES lets the compiler make the vectors, and shows a kernel nothing of the level that it
// is compiled for. Where a kernel is written in vectors itself, its code stands in a file of its
// own that is included here once per level, each time in a namespace of that level and with
// QORAC_LEVEL (1 for x86-64 and x86-64-v2, 3, 4) telling which:
//
//     #define QORAC_KERNEL "transform/fft32s_kernel.h"
//     #include "frame/levels.h"
//     QORAC_BIND(void, fft, (Qor32sc* data, int order), (data, order))
//
// QORAC_BIND makes the function that runs the best version for the machine, bound by the loader. A
// kernel file sees the vectors of frame/lanes.h. It has no include guard, includes files of its own
// kind only (..._lanes.h, transform/vectors.h), and nothing in it is seen by other units.
#pragma once

#include <immintrin.h>

#include <type_traits>

#include "frame/dispatch.h"
#include "frame/fixed.h"

#if defined(QORAC_ISA_ALL)

#define QORAC_LEVEL 1
namespace qorac::v1 {
#include "frame/lanes.h"
#include QORAC_KERNEL
}  // namespace qorac::v1
#undef QORAC_LEVEL

#pragma GCC push_options
#pragma GCC target("arch=x86-64-v3")
#define QORAC_LEVEL 3
namespace qorac::v3 {
#include "frame/lanes.h"
#include QORAC_KERNEL
}  // namespace qorac::v3
#undef QORAC_LEVEL
#pragma GCC pop_options

#pragma GCC push_options
#pragma GCC target("arch=x86-64-v4")
#define QORAC_LEVEL 4
namespace qorac::v4 {
#include "frame/lanes.h"
#include QORAC_KERNEL
}  // namespace qorac::v4
#undef QORAC_LEVEL
#pragma GCC pop_options

#define QORAC_BIND(type, name, parameters, arguments)                                             \
    __attribute__((target("default"))) static type name parameters { return v1::name arguments; } \
    __attribute__((target("arch=x86-64-v3"))) static type name parameters {                       \
        return v3::name arguments;                                                                \
    }                                                                                             \
    __attribute__((target("arch=x86-64-v4"))) static type name parameters {                       \
        return v4::name arguments;                                                                \
    }

#else

#if defined(__AVX512BW__) && defined(__AVX512VL__) && defined(__AVX512DQ__)
#define QORAC_LEVEL 4
#elif defined(__AVX2__)
#define QORAC_LEVEL 3
#else
#define QORAC_LEVEL 1
#endif
namespace qorac::pinned {
#include "frame/lanes.h"
#include QORAC_KERNEL
}  // namespace qorac::pinned

#define QORAC_BIND(type, name, parameters, arguments) \
    static type name parameters { return pinned::name arguments; }

#endif
