/*
 * TwinVQ vector quantization: mono 16-bit PCM at 1.75 bits a sample, and a gain.
 *
 *     tvq_search 8 < in.raw > out.raw      with 8 candidates of each book
 *
 * Eight samples at a time are approximated by the mean of two vectors, one of each code book, either
 * of which may be negated: 2 * (1 + 6) bits. More candidates of the first search come closer, up to
 * all 64. A real encoder weights the errors by what can be heard; here all weigh the same. The books
 * are noise with the spectrum of music, by a rule that a decoder knows too.
 */
#include <math.h>
#include <qorac.h>
#include <stdio.h>
#include <stdlib.h>

enum { kLength = 8, kVectors = 64, kDivisions = 128, kBlock = kLength * kDivisions, kStages = 2 };

static void check(QorStatus status) {
    if (status == qorStsNoErr) return;
    fprintf(stderr, "qorac status %d\n", status);
    exit(1);
}

/* Vectors of noise through a low-pass of one pole, with a level of 1. */
static void makeBook(float* book, Qor32u seed) {
    for (int v = 0; v < kVectors; v++, book += kLength) {
        float state = 0, energy = 0;
        for (int n = -16; n < kLength; n++) {
            seed = seed * 1664525u + 1013904223u;
            state = 0.9f * state + (float)(seed >> 8) / 8388608.0f - 1;
            if (n >= 0) energy += (book[n] = state) * state;
        }
        for (int n = 0; n < kLength; n++) book[n] /= sqrtf(energy / kLength);
    }
}

int main(int argc, char** argv) {
    const int candidates = argc > 1 ? atoi(argv[1]) : 8;
    static float vectors[kStages][kVectors * kLength];
    static float in[kBlock], out[kBlock], weight[kBlock];
    QorsVQCodeBookState_32f* book[kStages];
    Qor32s length[kDivisions], polarity[kDivisions];
    Qor32s index[kStages][kDivisions], sign[kStages][kDivisions];
    const Qor32s* polarities[kStages] = {polarity, polarity};
    Qor32s *indices[kStages] = {index[0], index[1]}, *signs[kStages] = {sign[0], sign[1]};
    const Qor32s* codes[kStages] = {index[0], index[1]};
    const Qor32s* factors[kStages] = {sign[0], sign[1]};
    short pcm[kBlock];
    size_t got;

    if (candidates < 1 || candidates > kVectors) {
        fprintf(stderr, "usage: tvq_search [1 to 64] < in.raw > out.raw\n");
        return 2;
    }
    for (int s = 0; s < kStages; s++) {
        makeBook(vectors[s], (Qor32u)s + 1);
        check(qorsVQCodeBookInitAlloc_32f(vectors[s], &book[s], kLength, kVectors));
    }
    for (int d = 0; d < kDivisions; d++) {
        length[d] = kLength;
        polarity[d] = 1; /* vectors may be negated */
    }
    for (int n = 0; n < kBlock; n++) weight[n] = 1;

    while ((got = fread(pcm, sizeof *pcm, kBlock, stdin)) > 0) {
        float gain[kDivisions];
        for (int d = 0; d < kDivisions; d++) {
            float energy = 0;
            for (int n = d * kLength; n < (d + 1) * kLength; n++) {
                in[n] = n < (int)got ? pcm[n] : 0;
                energy += in[n] * in[n];
            }
            gain[d] = sqrtf(energy / kLength);
            for (int n = d * kLength; n < (d + 1) * kLength && gain[d] > 0; n++) in[n] /= gain[d];
        }
        /* Encoder. */
        check(qorsVQIndexSelect_32f(in, weight, kDivisions, length, candidates, polarities, indices,
                                    signs, book, kStages));
        /* Decoder: it takes the signs as factors. */
        for (int s = 0; s < kStages; s++)
            for (int d = 0; d < kDivisions; d++) sign[s][d] = sign[s][d] ? -1 : 1;
        check(qorsVQReconstruction_32f(codes, factors, length, kDivisions, kStages, out, book));
        for (int n = 0; n < kBlock; n++) {
            const float y = gain[n / kLength] * out[n];
            pcm[n] = (short)lrintf(y < -32768 ? -32768 : y > 32767 ? 32767 : y);
        }
        fwrite(pcm, sizeof *pcm, got, stdout);
    }
    for (int s = 0; s < kStages; s++) check(qorsVQCodeBookFree_32f(book[s]));
    return 0;
}
