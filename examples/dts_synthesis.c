/*
 * DTS synthesis: splits mono 16-bit PCM into 32 sub-bands, rounds them and joins them again.
 *
 *     dts_synthesis 64 < in.raw > out.raw      rounded to multiples of 64
 *
 * The library has the decoder's bank. That of an encoder filters with the same impulse responses
 * reversed in time, and this program finds them by sending a 1 through each sub-band. The sound comes
 * 480 samples later.
 */
#include <math.h>
#include <qorac.h>
#include <stdio.h>
#include <stdlib.h>

enum { kBands = 32, kTaps = 512, kDelay = kTaps - kBands, kNonPerfect = 0 };

static void check(QorStatus status) {
    if (status == qorStsNoErr) return;
    fprintf(stderr, "qorac status %d\n", status);
    exit(1);
}

int main(int argc, char** argv) {
    static float response[kBands][kTaps], history[kTaps];
    const double step = argc > 1 ? atof(argv[1]) : 1;
    QorsFilterSpec_DTS_32f* bank = NULL;
    double energy = 0;
    int tail = kDelay;

    if (!(step > 0)) {
        fprintf(stderr, "usage: dts_synthesis step < in.raw > out.raw\n");
        return 2;
    }
    for (int k = 0; k < kBands; k++) {
        check(qorsSynthesisFilterInitAlloc_DTS_32f(&bank));
        for (int t = 0; t < kTaps / kBands; t++) {
            float slot[kBands] = {0};
            if (t == 0) slot[k] = 1;
            check(qorsSynthesisFilter_DTS_32f(slot, response[k] + kBands * t, kNonPerfect, bank));
        }
        check(qorsSynthesisFilterFree_DTS_32f(bank));
        for (int n = 0; n < kTaps; n++) energy += response[k][n] * response[k][n] / kBands;
    }

    /* Responses of energy 1 would give the sound back at its level: both sides scale to that. */
    const double scale = 1 / sqrt(energy);
    check(qorsSynthesisFilterInitAlloc_DTS_32f(&bank));
    while (tail > 0) {
        short pcm[kBands];
        float subbands[kBands], out[kBands];
        const int got = (int)fread(pcm, sizeof *pcm, kBands, stdin);
        const int silence = kBands - got < tail ? kBands - got : tail;
        for (int n = 0; n < kTaps - kBands; n++) history[n] = history[n + kBands];
        for (int n = 0; n < kBands; n++) history[kTaps - kBands + n] = n < got ? pcm[n] : 0;

        for (int k = 0; k < kBands; k++) {
            double sum = 0;
            for (int n = 0; n < kTaps; n++) sum += response[k][n] * history[n];
            subbands[k] = (float)(scale * step * rint(scale * sum / step));
        }
        check(qorsSynthesisFilter_DTS_32f(subbands, out, kNonPerfect, bank));
        for (int n = 0; n < kBands; n++)
            pcm[n] = (short)lrintf(out[n] < -32768 ? -32768 : out[n] > 32767 ? 32767 : out[n]);
        fwrite(pcm, sizeof *pcm, (size_t)(got + silence), stdout);
        tail -= silence;
    }
    check(qorsSynthesisFilterFree_DTS_32f(bank));
    return 0;
}
