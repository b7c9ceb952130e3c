/*
 * Parametric stereo: what an encoder measures of interleaved stereo 16-bit PCM in its lowest bands.
 *
 *     ps_hybrid 44100 < in.raw
 *
 * The QMF bank of an SBR encoder splits each channel into 64 sub-bands, the hybrid banks split the
 * lowest ones further, in frames of 2048 samples. A line per band: its frequencies, the level of left
 * against right in dB, and how alike the channels are (1: the same, 0: unrelated, -1: inverted).
 */
#include <math.h>
#include <qorac.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { kChannels = 2, kSub = 64, kSlots = 32, kHistory = 12, kWindow = 640, kBands = 8 };

/* The bands from the lowest on: QMF sub-band, hybrid bank, and part of it. An odd sub-band has its
 * frequencies in falling order. */
static const struct {
    int subband, part;
} kBand[kBands] = {{0, 0}, {0, 1}, {0, 2}, {0, 3}, {1, 1}, {1, 0}, {2, 0}, {2, 1}};
static const int kConfig[3] = {2, 0, 0}; /* eight parts, four of them positive; two; two */

int main(int argc, char** argv) {
    static float samples[kChannels][kWindow + kSub * kSlots];
    static Qor32fc rows[kChannels][3][kHistory + kSlots], parts[kChannels][3][kSlots * 12];
    const double width = (argc > 1 ? atof(argv[1]) : 44100) / 2 / kSub;
    double left[kBands] = {0}, right[kBands] = {0}, product[kBands] = {0}, edge = 0;
    QorsFilterEncSpec_SBR_32f* bank = NULL; /* without history: it serves both channels */
    short pcm[kChannels * kSub * kSlots];
    QorStatus status = qorsAnalysisFilterEncInitAlloc_SBR_32f(&bank);

    while (status == qorStsNoErr &&
           fread(pcm, kChannels * sizeof *pcm, kSub * kSlots, stdin) == kSub * kSlots) {
        for (int c = 0; c < kChannels; c++) {
            memmove(samples[c], samples[c] + kSub * kSlots, kWindow * sizeof(float));
            for (int n = 0; n < kSub * kSlots; n++)
                samples[c][kWindow + n] = pcm[kChannels * n + c];
            for (int t = 0; t < kSlots && status == qorStsNoErr; t++) {
                Qor32fc subbands[kSub];
                status =
                    qorsAnalysisFilterEnc_SBR_32f32fc(samples[c] + kSub * (t + 1), subbands, bank);
                for (int k = 0; k < 3; k++) rows[c][k][kHistory + t] = subbands[k];
            }
            for (int k = 0; k < 3 && status == qorStsNoErr; k++) {
                status = qorsAnalysisFilter_PS_32fc_D2(rows[c][k], parts[c][k], kConfig[k]);
                memmove(rows[c][k], rows[c][k] + kSlots, kHistory * sizeof(Qor32fc));
            }
        }
        for (int b = 0; b < kBands; b++) {
            for (int t = 0; t < kSlots; t++) {
                const Qor32fc l = parts[0][kBand[b].subband][12 * t + kBand[b].part];
                const Qor32fc r = parts[1][kBand[b].subband][12 * t + kBand[b].part];
                left[b] += (double)l.re * l.re + (double)l.im * l.im;
                right[b] += (double)r.re * r.re + (double)r.im * r.im;
                product[b] += (double)l.re * r.re + (double)l.im * r.im;
            }
        }
    }
    if (bank != NULL) qorsAnalysisFilterEncFree_SBR_32f(bank);
    if (status != qorStsNoErr) {
        fprintf(stderr, "qorac status %d\n", status);
        return 1;
    }
    for (int b = 0; b < kBands; b++) {
        const double top = edge + width / (b < 4 ? 4 : 2);
        printf("%5.0f to %5.0f Hz: %6.2f dB, %5.2f alike\n", edge, top,
               10 * log10((left[b] + 1e-9) / (right[b] + 1e-9)),
               product[b] / sqrt((left[b] + 1e-9) * (right[b] + 1e-9)));
        edge = top;
    }
    return 0;
}
