/*
 * MP3 float filter banks: an equalizer of 32 bands for interleaved stereo 16-bit PCM.
 *
 *     mp3_float_bank 6 3 0 < in.raw > out.raw
 *
 * The arguments are the gains in dB of the sub-bands, each 1/64 of the sampling rate wide (689 Hz at
 * 44100 Hz), from the lowest on; the last one holds for all that follow. The sound comes 481
 * samples later.
 */
#include <math.h>
#include <qorac.h>
#include <stdio.h>
#include <stdlib.h>

enum { kChannels = 2, kBands = 32 };

int main(int argc, char** argv) {
    QorsFilterSpec_PQMF_MP3_32f *analysis[kChannels], *synthesis[kChannels];
    float gain[kBands];
    int tail = 481; /* samples that are still in the banks when the input ends */
    QorStatus status = qorStsNoErr;

    for (int k = 0; k < kBands; k++) {
        const char* argument = argc < 2 ? "0" : argv[k + 1 < argc ? k + 1 : argc - 1];
        gain[k] = (float)pow(10, atof(argument) / 20);
    }
    for (int c = 0; c < kChannels; c++) {
        qorsAnalysisFilterInitAlloc_PQMF_MP3_32f(&analysis[c]);
        qorsSynthesisFilterInitAlloc_PQMF_MP3_32f(&synthesis[c]);
    }
    while (tail > 0 && status == qorStsNoErr) {
        short pcm[kChannels * kBands];
        float audio[kChannels * kBands], subbands[kBands];
        const int got = (int)fread(pcm, kChannels * sizeof *pcm, kBands, stdin);
        const int silence = kBands - got < tail ? kBands - got : tail;
        for (int i = 0; i < kChannels * kBands; i++) audio[i] = i < kChannels * got ? pcm[i] : 0;

        /* Samples of a channel stand two apart, sub-bands one; the banks work in place. */
        for (int c = 0; c < kChannels && status == qorStsNoErr; c++) {
            status = qorsAnalysisFilter_PQMF_MP3_32f(audio + c, subbands, analysis[c], kChannels);
            for (int k = 0; k < kBands; k++) subbands[k] *= gain[k];
            if (status == qorStsNoErr)
                status =
                    qorsSynthesisFilter_PQMF_MP3_32f(subbands, audio + c, synthesis[c], kChannels);
        }
        for (int i = 0; i < kChannels * kBands; i++) {
            const float y = audio[i] * 32768; /* the analysis has a gain of 1/32768 */
            pcm[i] = (short)lrintf(y < -32768 ? -32768 : y > 32767 ? 32767 : y);
        }
        fwrite(pcm, kChannels * sizeof *pcm, (size_t)(got + silence), stdout);
        tail -= silence;
    }
    for (int c = 0; c < kChannels; c++) {
        qorsAnalysisFilterFree_PQMF_MP3_32f(analysis[c]);
        qorsSynthesisFilterFree_PQMF_MP3_32f(synthesis[c]);
    }
    if (status != qorStsNoErr) fprintf(stderr, "qorac status %d\n", status);
    return status != qorStsNoErr;
}
