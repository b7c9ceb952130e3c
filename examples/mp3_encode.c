/*
 * MP3 encoding: raw 16-bit PCM, mono or interleaved stereo, to MPEG-1 Layer III of constant bit rate.
 *
 *     mp3_encode 2 44100 128 < in.raw > out.mp3      channels, sampling rate, kbit/s
 *
 * The stream is 800 samples late, to which a decoder adds 529. All blocks are long.
 */
#include <qorac.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum {
    kSamples = 1152,     /* of a frame, per channel */
    kHistory = 752,      /* samples before them that the filters reach back to */
    kModel = 1600,       /* samples that the psychoacoustic model reads */
    kLines = 576,        /* of a granule */
    kDelay = 800 + 529,  /* of encoder and decoder */
    kMaxPart = 4095,     /* bits that part2_3_length holds */
    kMaxMainData = 2112, /* bytes of a frame's main data, and what a writer touches more */
    kMaxPending = 32     /* frames that can wait for main data */
};

/* What the quantizer takes and gives. */
typedef struct {
    QorMP3FrameHeader header;
    QorMP3SideInfo side[4];
    QorMP3PsychoInfo psy[4];
    Qor32s isBound[6], lines[4 * kLines], count1[4], hufBits[4];
    Qor8s scaleFactors[4 * 40];
    QorMP3BitReservoir reservoir;
} Frame;

static int channels, headBytes;
static Qor16s pcm[2 * (kHistory + kSamples)];
static Qor32s overlap[2][kLines];
static QorMP3PsychoState states[4];
static QorMP3BitReservoir reservoir;

/* Frames wait here until main data fill the room behind their heads. */
static struct {
    Qor8u head[40];
    int room;
} pending[kMaxPending];
static int pendingCount, mainBytes;
static Qor8u mainData[8 * kMaxMainData];

static void check(QorStatus status) {
    if (status == qorStsNoErr) return;
    fprintf(stderr, "qorac status %d\n", status);
    exit(1);
}

static int indexOf(const int* table, int count, int value) {
    for (int i = 0; i < count; i++)
        if (table[i] == value) return i;
    fprintf(stderr, "MPEG-1 Layer III does not have %d\n", value);
    exit(2);
}

/*
 * Ratios of threshold to energy. The model runs one granule ahead: what it finds for the first of its
 * granules belongs to this frame's second one, and the states before the call hold the first one's.
 */
static void analyse(Frame* frame) {
    static Qor64s work[25152 / sizeof(Qor64s)];
    QorMP3PsychoState before[4];
    memcpy(before, states, sizeof before);
    check(qorsPsychoacousticModelTwo_MP3_16s(pcm + (kHistory + kSamples - kModel) * channels,
                                             frame->psy, frame->isBound, frame->side,
                                             &frame->header, states, NULL, (Qor8u*)work));
    frame->header.mode_extension &= 2; /* mid/side only */
    for (int c = 0; c < channels; c++) {
        const int state = c + frame->header.mode_extension; /* mid and side are 2 and 3 */
        Qor32s* const first = frame->psy[c].ratio;
        Qor32s* const second = frame->psy[channels + c].ratio;
        memcpy(second, first, sizeof frame->psy[c].ratio);
        memcpy(first, before[state].ratioLong, sizeof before[state].ratioLong);
        /* Where the model would switch to short blocks, the stricter of the neighbours' ratios. */
        for (int b = 0; b < 21 && frame->side[channels + c].block_type == 2; b++)
            second[b] = before[state].ratioLong[b] < states[state].ratioLong[b]
                            ? before[state].ratioLong[b]
                            : states[state].ratioLong[b];
    }
    for (int i = 0; i < 2 * channels; i++)
        frame->side[i].block_type = frame->side[i].window_switching_flag = 0;
    for (int i = 0; i < 4; i++) states[i].blockType = 0;
}

/* PCM to lines. */
static void transform(Frame* frame) {
    for (int g = 0; g < 2; g++) {
        Qor32s* const lines = frame->lines + g * channels * kLines;
        for (int c = 0; c < channels; c++) {
            Qor32s subbands[kLines];
            for (int slot = 0; slot < 18; slot++)
                check(qorsAnalysisPQMF_MP3_16s32s(pcm + 32 * (18 * g + slot) * channels + c,
                                                  subbands + 32 * slot, channels));
            check(qorsMDCTFwd_MP3_32s(subbands, lines + c * kLines, 0, 0, &frame->header,
                                      overlap[c]));
        }
        if (channels == 2)
            check(qorsJointStereoEncode_MP3_32s_I(
                lines, lines + kLines, (Qor8u*)frame->scaleFactors + (2 * g + 1) * 40,
                &frame->header, frame->side + 2 * g, frame->isBound + 3 * g));
    }
}

/* Quantizes and packs main data; their bytes, or -1 when they do not fit the stream. */
static int quantize(Frame* frame, int meanBits, Qor8u* out) {
    Qor32s scfsi[8] = {0}, work[2 * kLines], offset = 0;
    Qor8u* stream = out;
    check(qorsQuantize_MP3_32s_I(frame->lines, frame->scaleFactors, scfsi, frame->count1,
                                 frame->hufBits, &frame->header, frame->side, frame->psy, states,
                                 &frame->reservoir, meanBits, frame->isBound, work));
    for (int i = 0; i < 2 * channels; i++) {
        const QorMP3SideInfo* side = &frame->side[i];
        if (side->part2_3_length < 0 || side->part2_3_length > kMaxPart) return -1;
        if (side->global_gain < 0 || side->global_gain > 255) return -1;
    }
    memset(out, 0, kMaxMainData);
    for (int i = 0; i < 2 * channels; i++) {
        QorMP3SideInfo* side = &frame->side[i];
        const int start = (int)(stream - out) * 8 + offset;
        check(qorsPackScaleFactors_MP3_8s1u(frame->scaleFactors + 40 * i, &stream, &offset,
                                            &frame->header, side, scfsi, i / channels,
                                            i % channels));
        check(qorsHuffmanEncode_MP3_32s1u(frame->lines + kLines * i, &stream, &offset,
                                          &frame->header, side, frame->count1[i],
                                          frame->hufBits[i]));
        if ((int)(stream - out) * 8 + offset - start != side->part2_3_length) return -1;
    }
    return (int)(stream - out) + (offset > 0);
}

/* Writes the frames whose room the main data fill. */
static void writeFrames(void) {
    while (pendingCount > 0 && mainBytes >= pending[0].room) {
        const int room = pending[0].room;
        fwrite(pending[0].head, 1, (size_t)headBytes, stdout);
        fwrite(mainData, 1, (size_t)room, stdout);
        memmove(mainData, mainData + room, (size_t)(mainBytes - room));
        memmove(pending, pending + 1, (size_t)(pendingCount - 1) * sizeof *pending);
        mainBytes -= room;
        pendingCount--;
    }
}

static void encodeFrame(const QorMP3FrameHeader* header, int frameBytes) {
    static Frame frame, attempt;
    const Qor32s scfsi[8] = {0};
    const int room = frameBytes - headBytes, begin = reservoir.bitsAvail / 8;
    const int most = kMaxPart / 8 * 8 * 2 * channels;
    const int meanBits = 8 * room < most ? 8 * room : most;
    Qor8u* const out = mainData + mainBytes;
    int used = -1;

    memset(&frame, 0, sizeof frame);
    frame.header = *header;
    analyse(&frame);
    transform(&frame);
    /* A budget that does not work out is cut by a sixteenth at a time. */
    for (int step = 16; step >= 0 && (used < 0 || used > begin + room); step--) {
        attempt = frame;
        attempt.reservoir = reservoir;
        attempt.reservoir.bitsAvail = begin * step / 16 * 8;
        used = quantize(&attempt, meanBits / 8 * step / 16 * 8, out);
    }
    if (used < 0 || used > begin + room) {
        fprintf(stderr, "a frame could not be quantized\n");
        exit(1);
    }
    /* What the reservoir cannot keep is filled up with zeros. */
    const int least = begin + room - reservoir.maxBits / 8;
    if (used < least) {
        memset(out + used, 0, (size_t)(least - used));
        used = least;
    }
    reservoir.bitsAvail = 8 * (begin + room - used);
    mainBytes += used;

    Qor8u* stream = pending[pendingCount].head;
    check(qorsPackFrameHeader_MP3(&attempt.header, &stream));
    check(qorsPackSideInfo_MP3(attempt.side, &stream, begin, 0, scfsi, &attempt.header));
    pending[pendingCount++].room = room;
    writeFrames();
}

int main(int argc, char** argv) {
    static const int kBitRates[15] = {0,   32,  40,  48,  56,  64,  80, 96,
                                      112, 128, 160, 192, 224, 256, 320};
    static const int kSampleRates[3] = {44100, 48000, 32000};
    QorMP3FrameHeader header = {0};
    long samples = 0, coded = 0;
    int more = 1, rest = 0;
    if (argc != 4) {
        fprintf(stderr, "usage: mp3_encode channels rate kbit/s < in.raw > out.mp3\n");
        return 2;
    }
    const int rate = atoi(argv[2]), kbits = atoi(argv[3]);
    channels = atoi(argv[1]) == 2 ? 2 : 1;
    headBytes = channels == 2 ? 4 + 32 : 4 + 17;
    header.id = header.layer = header.protection_bit = header.original = 1;
    header.bitrate_index = indexOf(kBitRates + 1, 14, kbits) + 1;
    header.sampling_frequency = indexOf(kSampleRates, 3, rate);
    header.mode = channels == 2 ? 1 : 3;
    check(qorsBitReservoirInit_MP3(&reservoir, &header));

    while (more || coded < samples + kDelay) {
        Qor16s* const next = pcm + kHistory * channels;
        memmove(pcm, pcm + kSamples * channels, (size_t)(kHistory * channels) * sizeof *pcm);
        memset(next, 0, (size_t)(kSamples * channels) * sizeof *pcm);
        const size_t got = more ? fread(next, (size_t)channels * sizeof *pcm, kSamples, stdin) : 0;
        more = got == kSamples;
        samples += (long)got;
        /* Frames are one byte longer when what the truncation has left reaches a byte. */
        rest += 144000 * kbits % rate;
        header.padding_bit = rest >= rate;
        rest -= header.padding_bit * rate;
        encodeFrame(&header, 144000 * kbits / rate + header.padding_bit);
        coded += kSamples;
    }
    /* The last frames' room ends in zeros: no more than the reservoir. */
    memset(mainData + mainBytes, 0, kMaxMainData);
    mainBytes += reservoir.bitsAvail / 8;
    writeFrames();
    return 0;
}
