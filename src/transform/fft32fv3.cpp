// The float FFT at level x86-64-v3.
#if defined(QORAC_ISA_ALL)
#include <immintrin.h>

#include "frame/constmath.h"
#include "frame/status.h"
#include "transform/fft32fkernels.h"
#include "transform/fft32ftables.h"

#pragma GCC target("arch=x86-64-v3")
#define QORAC_LEVEL v3
#define QORAC_LANES 8
#include "transform/fft32fcore.h"
#endif
