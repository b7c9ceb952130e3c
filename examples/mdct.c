/*
 * General MDCT: a low-pass of mono 16-bit PCM from standard input to standard output.
 *
 *     mdct 8000 < in.raw > out.raw        keeps the lowest 8/44.1 of the band up to half the rate
 *
 * Blocks of 2048 samples overlap by half and are windowed by a sine before and after, so that what
 * is not removed comes back as it was, 1024 samples later.
 */
#include <math.h>
#include <qorac.h>
#include <stdio.h>
#include <stdlib.h>

enum { kBlock = 2048, kHop = kBlock / 2 };

int main(int argc, char** argv) {
    QorsMDCTFwdSpec_32f* forward = NULL;
    QorsMDCTInvSpec_32f* inverse = NULL;
    float window[kBlock], input[kBlock] = {0}, overlap[kHop] = {0};
    const double kept = argc > 1 ? atof(argv[1]) / 22050 : 1;
    const int lines = kept < 1 ? (int)(kept * kHop) : kHop;
    int filled = 1; /* hops of input or of what is still held back */

    if (qorsMDCTFwdInitAlloc_32f(&forward, kBlock) || qorsMDCTInvInitAlloc_32f(&inverse, kBlock)) {
        fprintf(stderr, "no memory\n");
        return 1;
    }
    for (int n = 0; n < kBlock; n++) window[n] = (float)sin(3.14159265358979 * (n + 0.5) / kBlock);

    while (filled) {
        short pcm[kHop];
        float block[kBlock];
        const size_t got = fread(pcm, sizeof *pcm, kHop, stdin);
        filled = got > 0;
        for (int n = 0; n < kHop; n++) {
            input[n] = input[n + kHop];
            input[n + kHop] = n < (int)got ? pcm[n] : 0;
        }
        for (int n = 0; n < kBlock; n++) block[n] = input[n] * window[n];

        /* With a null buffer a transform allocates its scratch and releases it again. */
        qorsMDCTFwd_32f_I(block, forward, NULL);
        for (int k = lines; k < kHop; k++) block[k] = 0;
        qorsMDCTInv_32f_I(block, inverse, NULL);

        for (int n = 0; n < kHop; n++) {
            const float y = overlap[n] + block[n] * window[n];
            pcm[n] = (short)lrintf(y < -32768 ? -32768 : y > 32767 ? 32767 : y);
            overlap[n] = block[n + kHop] * window[n + kHop];
        }
        fwrite(pcm, sizeof *pcm, kHop, stdout);
    }
    qorsMDCTFwdFree_32f(forward);
    qorsMDCTInvFree_32f(inverse);
    return 0;
}
