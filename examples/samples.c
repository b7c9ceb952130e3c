/*
 * Sample formats: the power-law quantizer of MP3 and AAC on interleaved stereo 16-bit PCM.
 *
 *     samples 16 < in.raw > out.raw       with steps of 2^(16/4)
 *
 * Each sample becomes the integer nearest to (|x| / step)^(3/4), and that comes back as
 * step * integer^(4/3): loud samples are coded more coarsely than quiet ones.
 */
#include <math.h>
#include <qorac.h>
#include <stdio.h>
#include <stdlib.h>

enum { kChannels = 2, kLength = 1024 };

static void check(QorStatus status) {
    if (status >= 0) return; /* a positive status is a warning, here about the alignment */
    fprintf(stderr, "qorac status %d\n", status);
    exit(1);
}

/* One channel, there and back. */
static void quantize(const Qor16s* in, Qor32f* out, Qor16s scaleFactor) {
    static const Qor16s kExponents[kLength] = {0}; /* samples are mantissas of 2^-15 */
    const Qor32s band[2] = {0, kLength};
    const Qor16s up = 60, down = (Qor16s)-scaleFactor; /* 2^(60/4): back to the scale of PCM */
    Qor32f step, pcmScale, inverse;
    Qor16s integers[kLength];

    check(qorsCalcSF_16s32f(&scaleFactor, 0, &step, 1));
    check(qorsCalcSF_16s32f(&down, 0, &inverse, 1));
    check(qorsCalcSF_16s32f(&up, 0, &pcmScale, 1));

    check(qorsMakeFloat_16s32f(in, kExponents, kLength, out)); /* full scale is 1 */
    check(qorsScale_32f_I(out, &pcmScale, band, 1));
    check(qorsScale_32f_I(out, &inverse, band, 1));
    check(qorsPow34_32f16s(out, integers, kLength)); /* magnitudes: the signs come from the input */
    for (int n = 0; n < kLength; n++)
        if (in[n] < 0) integers[n] = (Qor16s)-integers[n];
    check(qorsPow43_16s32f(integers, out, kLength));
    check(qorsScale_32f_I(out, &step, band, 1));
}

int main(int argc, char** argv) {
    const int scaleFactor = argc > 1 ? atoi(argv[1]) : 16;
    Qor16s pcm[kChannels * kLength], planar[kChannels][kLength];
    Qor32f coded[kChannels][kLength], interleaved[kChannels * kLength];
    Qor16s* planes[kChannels] = {planar[0], planar[1]};
    const Qor32f* codedPlanes[kChannels] = {coded[0], coded[1]};
    size_t frames;

    if (scaleFactor < 0 || scaleFactor > 60) {
        fprintf(stderr, "usage: samples [0 to 60] < in.raw > out.raw\n");
        return 2;
    }
    while ((frames = fread(pcm, kChannels * sizeof *pcm, kLength, stdin)) > 0) {
        for (size_t i = kChannels * frames; i < kChannels * kLength; i++) pcm[i] = 0;
        check(qorsDeinterleave_16s(pcm, kChannels, kLength, planes));
        for (int c = 0; c < kChannels; c++) quantize(planar[c], coded[c], (Qor16s)scaleFactor);
        check(qorsInterleave_32f(codedPlanes, kChannels, kLength, interleaved));
        for (int i = 0; i < kChannels * kLength; i++) {
            const float y = interleaved[i];
            pcm[i] = (Qor16s)lrintf(y < -32768 ? -32768 : y > 32767 ? 32767 : y);
        }
        fwrite(pcm, kChannels * sizeof *pcm, frames, stdout);
    }
    return 0;
}
