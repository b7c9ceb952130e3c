/*
 * AAC prediction: codes mono 16-bit PCM as quantized prediction errors of its MDCT lines, and decodes
 * it again.
 *
 *     aac_prediction 256 < in.raw > out.raw     steps of 256; the prediction gain goes to stderr
 *
 * Each line is predicted from its own values in the two blocks before. Encoder and decoder adapt to
 * the decoded lines alone, so that they stay in step to the bit though nothing but the errors and a
 * flag per band travels. What comes out is 1024 samples late.
 */
#include <math.h>
#include <qorac.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { kBlock = 2048, kLines = 1024, kBand = 16, kBands = 42, kPredicted = kBands * kBand };

static void check(QorStatus status) {
    if (status >= 0) return; /* a positive status is a warning, here about the alignment */
    fprintf(stderr, "qorac status %d\n", status);
    exit(1);
}

static double energy(const float* lines) {
    double sum = 0;
    for (int k = 0; k < kBand; k++) sum += (double)lines[k] * lines[k];
    return sum;
}

int main(int argc, char** argv) {
    const float step = argc > 1 ? (float)atof(argv[1]) : 256;
    QorsMDCTFwdSpec_32f* forward = NULL;
    QorsMDCTInvSpec_32f* inverse = NULL;
    QorsFDPState_32f *encoder = NULL, *decoder = NULL;
    Qor32s size = 0, offsets[kBands + 1];
    float window[kBlock], input[kBlock] = {0}, overlap[kLines] = {0};
    double before = 0, behind = 0;
    int filled = 1; /* hops of input or of what is still held back */

    if (!(step > 0)) {
        fprintf(stderr, "usage: aac_prediction step < in.raw > out.raw\n");
        return 2;
    }
    check(qorsMDCTFwdInitAlloc_32f(&forward, kBlock));
    check(qorsMDCTInvInitAlloc_32f(&inverse, kBlock));
    check(qorsFDPInitAlloc_32f(&decoder, kPredicted));
    /* The encoder's state stands in memory of its own, whose bytes can be put back. */
    check(qorsFDPGetSize_32f(kPredicted, &size));
    Qor8u* const memory = malloc((size_t)size);
    Qor8u* const saved = malloc((size_t)size);
    if (memory == NULL || saved == NULL) return 1;
    check(qorsFDPInit_32f(&encoder, kPredicted, memory));
    for (int b = 0; b <= kBands; b++) offsets[b] = b * kBand;
    for (int n = 0; n < kBlock; n++) window[n] = (float)sin(3.14159265358979 * (n + 0.5) / kBlock);

    while (filled) {
        short pcm[kLines];
        float block[kBlock], error[kPredicted], decoded[kPredicted];
        Qor8u used[kBands];
        const size_t got = fread(pcm, sizeof *pcm, kLines, stdin);
        filled = got > 0;
        for (int n = 0; n < kLines; n++) {
            input[n] = input[n + kLines];
            input[n + kLines] = n < (int)got ? pcm[n] : 0;
        }
        for (int n = 0; n < kBlock; n++) block[n] = input[n] * window[n];
        check(qorsMDCTFwd_32f_I(block, forward, NULL));

        /* Encoder: the errors, and the bands in which they are smaller than the lines. This adapts the
         * state to the lines; it has to adapt to the decoded ones, so that it is taken back. */
        memcpy(saved, memory, (size_t)size);
        check(qorsFDPFwd_32f(block, error, encoder));
        memcpy(memory, saved, (size_t)size);
        for (int b = 0; b < kBands; b++) {
            const double lines = energy(block + offsets[b]), errors = energy(error + offsets[b]);
            used[b] = errors < lines;
            before += lines;
            behind += used[b] ? errors : lines;
            if (!used[b]) memcpy(error + offsets[b], block + offsets[b], kBand * sizeof *error);
        }
        for (int k = 0; k < kLines; k++) {
            float* const value = k < kPredicted ? error + k : block + k;
            *value = step * rintf(*value / step); /* the integers that a stream would carry */
        }
        memcpy(decoded, error, sizeof decoded);
        check(qorsFDPInv_32f_I(decoded, offsets, kBands, used, encoder));

        /* Decoder. */
        memcpy(block, error, sizeof error);
        check(qorsFDPInv_32f_I(block, offsets, kBands, used, decoder));
        if (memcmp(block, decoded, sizeof decoded) != 0) {
            fprintf(stderr, "encoder and decoder are out of step\n");
            return 1;
        }
        check(qorsMDCTInv_32f_I(block, inverse, NULL));
        for (int n = 0; n < kLines; n++) {
            const float y = overlap[n] + block[n] * window[n];
            pcm[n] = (short)lrintf(y < -32768 ? -32768 : y > 32767 ? 32767 : y);
            overlap[n] = block[n + kLines] * window[n + kLines];
        }
        fwrite(pcm, sizeof *pcm, kLines, stdout);
    }
    fprintf(stderr, "prediction gain %.2f dB\n", behind > 0 ? 10 * log10(before / behind) : 0.0);
    check(qorsFDPFree_32f(decoder));
    check(qorsMDCTFwdFree_32f(forward));
    check(qorsMDCTInvFree_32f(inverse));
    free(memory);
    free(saved);
    return 0;
}
