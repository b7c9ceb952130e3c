// The float FFT at the lowest level of the build: baseline, or the pinned one.
#if defined(QORAC_ISA_ALL)
#define QORAC_LEVEL v1
#else
#define QORAC_LEVEL pinned
#endif
#include "transform/fft32fcore.h"
