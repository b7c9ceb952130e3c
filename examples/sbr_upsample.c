/*
 * SBR float QMF banks: doubles the sampling rate of mono 16-bit PCM.
 *
 *     sbr_upsample < in.raw > out.raw
 *
 * The first and the last step of an SBR decoder: 32 sub-bands of the core's sound go to the lower half
 * of 64. The upper half, which SBR would fill, stays empty. The sound comes 578 samples later.
 *
 * The window is the caller's. A decoder takes the standard's table; this program computes one that is
 * nearly as good.
 */
#include <math.h>
#include <qorac.h>
#include <stdio.h>
#include <stdlib.h>

enum { kWindow = 640, kSlots = 32, kIn = 32, kOut = 64, kDelay = 578 };

static const double kPi = 3.14159265358979;

/* Modified Bessel function of order 0. */
static double bessel(double x) {
    double sum = 1, term = 1;
    for (int k = 1; k < 40; k++) sum += term *= (x / 2 / k) * (x / 2 / k);
    return sum;
}

/* A low-pass, a sinc under a Kaiser window; its gain at the edge between two bands, that at 0 is 1. */
static double design(double cutoff, double* window) {
    double sum = 0, edge = 0;
    for (int i = 0; i < kWindow; i++) {
        const int n = i - kWindow / 2;
        const double r = n / 320.0, sinc = n ? sin(kPi * cutoff * n) / n : kPi * cutoff;
        window[i] = sinc * bessel(8.5 * sqrt(1 - r * r));
        sum += window[i];
        edge += window[i] * cos(kPi / 128 * n);
    }
    /* The banks together have a gain of (sum / 64)^2 / 2; the signs are those of the standard. */
    for (int i = 0; i < kWindow; i++) window[i] *= (i / 128 % 2 ? -1 : 1) * 64 * sqrt(2) / sum;
    return edge / sum;
}

int main(void) {
    static Qor32fc subbands[kSlots][kOut]; /* from 32 on zero */
    Qor32fc* rows[kSlots];
    const Qor32fc* constRows[kSlots];
    QorsFilterSpec_SBR_32f *analysis = NULL, *synthesis = NULL;
    Qor32s spec[2], init[2], buffer[2];
    Qor8u* memory[6];
    float window[kWindow], halfWindow[kWindow / 2];
    double exact[kWindow], low = 0.5 / 128, high = 2.0 / 128;
    int tail = kDelay;

    /* Neighbours are 3 dB down at their edge: then the sum of all bands is flat. */
    for (int i = 0; i < 40; i++) {
        const double middle = (low + high) / 2;
        if (design(middle, exact) < sqrt(0.5))
            low = middle;
        else
            high = middle;
    }
    for (int i = 0; i < kWindow; i++) window[i] = (float)exact[i];
    for (int i = 0; i < kWindow / 2; i++) halfWindow[i] = window[2 * i];
    for (int l = 0; l < kSlots; l++) constRows[l] = rows[l] = subbands[l];

    qorsAnalysisFilterGetSize_SBR_RToC_32f32fc(&spec[0], &init[0], &buffer[0]);
    qorsSynthesisFilterGetSize_SBR_CToR_32fc32f(&spec[1], &init[1], &buffer[1]);
    for (int i = 0; i < 2; i++) {
        memory[i] = malloc((size_t)spec[i]);
        memory[2 + i] = malloc((size_t)init[i]);
        memory[4 + i] = malloc((size_t)buffer[i]);
        if (!memory[i] || !memory[2 + i] || !memory[4 + i]) return 1;
    }
    QorStatus status = qorsAnalysisFilterInit_SBR_RToC_32f32fc(&analysis, memory[0], memory[2]);
    if (status == qorStsNoErr)
        status = qorsSynthesisFilterInit_SBR_CToR_32fc32f(&synthesis, memory[1], memory[3]);

    while (tail > 0 && status == qorStsNoErr) {
        short pcm[kSlots * kOut];
        float in[kSlots * kIn], out[kSlots * kOut];
        const int got = (int)fread(pcm, sizeof *pcm, kSlots * kIn, stdin);
        const int left = kSlots * kOut - 2 * got, silence = left < tail ? left : tail;
        for (int n = 0; n < kSlots * kIn; n++) in[n] = n < got ? pcm[n] : 0;
        status = qorsAnalysisFilter_SBR_RToC_32f32fc_D2L(in, rows, halfWindow, kSlots, 0, kIn,
                                                         analysis, memory[4]);
        if (status == qorStsNoErr)
            status = qorsSynthesisFilter_SBR_CToR_32fc32f_D2L(constRows, out, window, kSlots,
                                                              synthesis, memory[5]);
        for (int n = 0; n < kSlots * kOut; n++)
            pcm[n] = (short)lrintf(out[n] < -32768 ? -32768 : out[n] > 32767 ? 32767 : out[n]);
        if (status == qorStsNoErr) fwrite(pcm, sizeof *pcm, (size_t)(2 * got + silence), stdout);
        tail -= silence;
    }
    for (int i = 0; i < 6; i++) free(memory[i]);
    if (status != qorStsNoErr) fprintf(stderr, "qorac status %d\n", status);
    return status != qorStsNoErr;
}
