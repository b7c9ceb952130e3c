/*
 * VLC escape blocks: a lossless coder for mono 16-bit PCM with a code book of its own.
 *
 *     vlc < in.raw > out.raw          the bits that were taken go to stderr
 *
 * Codes the differences of neighbours in pairs, counts the bits, decodes what was written and gives
 * out what came back. A value from 15 up is coded as 15 and the rest in linbits, as in MP3: each
 * block takes the fewest that hold its largest value.
 *
 * The code of a magnitude is 0 and two bits for 0 to 3, 10 and two bits for 4 to 7, 11 and three bits
 * for 8 to 15; the code of a pair is those of both values, followed by their signs.
 */
#include <qorac.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>

enum { kBlock = 1024, kEscape = 15, kPeek = 10, kIndexBits = 10, kIndices = 1 << kIndexBits };

static Qor32u code(int m) { return (Qor32u)(m < 4 ? m : m < 8 ? 8 + m - 4 : 24 + m - 8); }
static int length(int m) { return m < 4 ? 3 : m < 8 ? 4 : 5; }

/* Specs have to stand at a multiple of 32 bytes. */
static void* aligned(void* memory) { return (void*)(((uintptr_t)memory + 31) / 32 * 32); }

static void check(QorStatus status) {
    if (status == qorStsNoErr) return;
    fprintf(stderr, "qorac status %d\n", status);
    exit(1);
}

/* For each pair the length and the code with its signs. */
static void fillEncodeTable(Qor32u* lengths, Qor32u* codes, int bias) {
    for (int x = -kEscape; x <= kEscape; x++) {
        for (int y = -kEscape; y <= kEscape; y++) {
            const int index = bias + 15 + 32 * x + y, mx = abs(x), my = abs(y);
            lengths[index] = (Qor32u)(length(mx) + length(my) + (x != 0) + (y != 0));
            codes[index] = code(mx) << length(my) | code(my);
            if (x != 0) codes[index] = codes[index] << 1 | (x < 0);
            if (y != 0) codes[index] = codes[index] << 1 | (y < 0);
        }
    }
}

/* One level: its number of bits, then for each value of the next bits the pair that they begin with. */
static void fillDecodeTable(Qor16u* table) {
    table[0] = kPeek;
    for (int x = 0; x <= kEscape; x++) {
        for (int y = 0; y <= kEscape; y++) {
            const int bits = length(x) + length(y), spare = kPeek - bits;
            const Qor32u first = (code(x) << length(y) | code(y)) << spare;
            for (Qor32u i = 0; i < 1u << spare; i++)
                table[1 + first + i] = (Qor16u)(1 | bits << 1 | (x << 4 | y) << 5);
        }
    }
}

int main(void) {
    static Qor32u encodeTable[2 * kIndices];
    static Qor16u decodeTable[1 + (1 << kPeek)];
    static Qor8u bits[8 * kBlock]; /* more than a block can take */
    void* const memory[2] = {malloc(sizeof(QorVLCEncodeSpec) + 31),
                             malloc(sizeof(QorVLCDecodeSpec) + 31)};
    const int bias = 32 * kEscape;
    short before = 0, decodedBefore = 0, pcm[kBlock];
    long total = 0;
    size_t got;

    if (!memory[0] || !memory[1]) return 1;
    QorVLCEncodeSpec* const encode = aligned(memory[0]);
    QorVLCDecodeSpec* const decode = aligned(memory[1]);
    *encode = (QorVLCEncodeSpec){
        .id = 0x434D415F, .pTable = encodeTable, .bias = bias, .tableBits = kIndexBits};
    *decode = (QorVLCDecodeSpec){.id = 0x434D4160,
                                 .maxBits = kPeek,
                                 .pTable = decodeTable,
                                 .elementBits = 16,
                                 .lengthBits = 4,
                                 .tupleElementBits = 4,
                                 .tupleBits = 8};
    fillEncodeTable(encodeTable, encodeTable + kIndices, bias);
    fillDecodeTable(decodeTable);

    while ((got = fread(pcm, sizeof *pcm, kBlock, stdin)) > 0) {
        Qor16s values[kBlock] = {0}, decoded[kBlock];
        Qor8u* stream = bits;
        Qor32s offset = 0, count = 0, linbits = 0;
        for (size_t n = 0; n < got; n++) {
            values[n] = (Qor16s)(pcm[n] - before); /* modulo 2^16 */
            before = pcm[n];
            while (abs(values[n]) >= kEscape + (1 << linbits)) linbits++;
        }
        check(qorsVLCCountEscBits_MP3_16s32s(values, kBlock, linbits, &count, encode));
        check(qorsVLCEncodeEscBlock_MP3_16s1u(values, kBlock, linbits, &stream, &offset, encode));
        total += count;
        if (8 * (stream - bits) + offset != count) {
            fprintf(stderr, "counted %d bits\n", count);
            return 1;
        }
        stream = bits;
        offset = 0;
        check(qorsVLCDecodeUTupleEscBlock_MP3_1u16s(&stream, &offset, linbits, decoded, kBlock,
                                                    decode));
        for (size_t n = 0; n < got; n++)
            pcm[n] = decodedBefore = (short)(decodedBefore + decoded[n]);
        fwrite(pcm, sizeof *pcm, got, stdout);
    }
    fprintf(stderr, "%ld bits\n", total);
    free(memory[0]);
    free(memory[1]);
    return 0;
}
