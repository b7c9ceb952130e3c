// Choice of the instruction level.
//
// A kernel is one source compiled for several levels of x86-64; the loader binds each kernel once,
// when the library is loaded, to the version for the machine. The entry of a kernel is a plain
// function marked QORAC_CLONES; what it calls in its inner loops is marked QORAC_INLINE, so that it
// becomes part of each version. Exported functions are ordinary functions that call the entry.
//
// QORAC_ISA_ALL is defined by the build when all levels are wanted (g++ only). A build that pins
// one level compiles everything for that level, and the marks stand for nothing.
#pragma once

#define QORAC_INLINE inline __attribute__((always_inline))
// The same for lambdas.
#define QORAC_INLINE_BODY __attribute__((always_inline))

#if defined(QORAC_ISA_ALL)
#define QORAC_CLONES \
    __attribute__((target_clones("arch=x86-64-v4", "arch=x86-64-v3", "default"), noinline))
#else
#define QORAC_CLONES __attribute__((noinline))
#endif
