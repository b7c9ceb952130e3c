/*
 * FIR block filter: an echo for interleaved stereo 16-bit PCM.
 *
 *     fir 4410 1 0 0 0.5 < in.raw > out.raw      at 44100 Hz: once more after 300 ms, half as loud
 *
 * The first argument is the length of a block in samples, the others are the gains of this block, the
 * block before it and so on. The filter runs along the blocks: each sample meets those at the same
 * place of earlier ones. What still sounds when the input ends is cut off.
 */
#include <math.h>
#include <qorac.h>
#include <stdio.h>
#include <stdlib.h>

enum { kChannels = 2, kMaxTaps = 64 };

int main(int argc, char** argv) {
    const int block = argc > 2 ? kChannels * atoi(argv[1]) : 0, taps = argc - 2;
    QorsFIRBlockState_32f* state = NULL;
    float gain[kMaxTaps];
    size_t got;

    if (block < 1 || taps > kMaxTaps) {
        fprintf(stderr, "usage: fir block gain... < in.raw > out.raw\n");
        return 2;
    }
    for (int k = 0; k < taps; k++) gain[k] = (float)atof(argv[k + 2]);
    QorStatus status = qorsFIRBlockInitAlloc_32f(&state, taps, block);
    short* const pcm = malloc((size_t)block * sizeof *pcm);
    float* const audio = malloc((size_t)block * sizeof *audio);

    while (status >= 0 && pcm && audio &&
           (got = fread(pcm, sizeof *pcm, (size_t)block, stdin)) > 0) {
        for (int i = 0; i < block; i++) audio[i] = i < (int)got ? pcm[i] : 0;
        status = qorsFIRBlockOne_32f(audio, audio, state, gain); /* positive: about the alignment */
        for (int i = 0; i < block; i++) {
            const float y = audio[i];
            pcm[i] = (short)lrintf(y < -32768 ? -32768 : y > 32767 ? 32767 : y);
        }
        if (status >= 0) fwrite(pcm, sizeof *pcm, got, stdout);
    }
    if (state != NULL) qorsFIRBlockFree_32f(state);
    const int failed = status < 0 || !pcm || !audio;
    if (failed) fprintf(stderr, "qorac status %d\n", status);
    free(pcm);
    free(audio);
    return failed;
}
