/*
 * MP3 decoding: an MPEG-1 or MPEG-2 LSF Layer III stream to interleaved 16-bit PCM.
 *
 *     mp3_decode < in.mp3 > out.raw
 *
 * The way of a frame: header, side information, the bit reservoir; for each granule scale factors,
 * Huffman values and lines, for each of its channels MDCT and polyphase synthesis. Granules that
 * cannot be decoded become silence. Tags and what else stands between frames are passed over; an
 * Info frame, which players skip, is a frame of silence here.
 */
#include <qorac.h>
#include <stdio.h>
#include <string.h>

enum { kLines = 576, kReservoir = 511, kMaxFrame = 1441, kSlack = 2048 };

/* What lasts from frame to frame. */
static struct {
    Qor8u mainData[kReservoir + kMaxFrame + kSlack];
    int mainBytes;
    Qor8s scaleFactors[2][40];
    Qor32s overlap[2][kLines], ring[2][512], ringPosition[2], subbandsBefore[2];
} state;

static int frameBytes(const QorMP3FrameHeader* header) {
    static const int kBitRate[2][15] = {
        {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
        {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320}};
    static const int kRate[2][3] = {{22050, 24000, 16000}, {44100, 48000, 32000}};
    return (header->id ? 144000 : 72000) * kBitRate[header->id][header->bitrate_index] /
               kRate[header->id][header->sampling_frequency] +
           header->padding_bit;
}

/* Reads the next frame and its header; 0 at the end of the stream. */
static int readFrame(Qor8u* frame, QorMP3FrameHeader* header) {
    size_t got = fread(frame, 1, 4, stdin);
    while (got == 4) {
        const int rate = frame[2] >> 4;
        if (frame[0] == 0xFF && (frame[1] & 0xF6) == 0xF2 && rate != 0 && rate != 15 &&
            (frame[2] >> 2 & 3) != 3) {
            Qor8u* at = frame;
            qorsUnpackFrameHeader_MP3(&at, header);
            const int size = frameBytes(header);
            return fread(frame + 4, 1, (size_t)size - 4, stdin) == (size_t)size - 4 ? size : 0;
        }
        memmove(frame, frame + 1, 3);
        got = 3 + fread(frame + 3, 1, 1, stdin);
    }
    return 0;
}

static int isZero(const Qor32s* values, int count) {
    while (count > 0 && values[count - 1] == 0) count--;
    return count == 0;
}

/*
 * The stream has no intensity position for the highest band. It takes that of the band below where
 * that one is intensity-coded too: the right channel is zero from it on.
 */
static void supplyLastPosition(const QorMP3FrameHeader* header, const QorMP3SideInfo* side,
                               const Qor32s* right, int bound, Qor8s* position) {
    static const int kLong20[2][3] = {{464, 464, 464}, {342, 330, 448}};
    static const int kShort11[2][3] = {{132, 136, 134}, {106, 100, 138}};
    static const int kShort12[2][3] = {{174, 180, 174}, {136, 126, 180}};
    const int id = header->id, rate = header->sampling_frequency;
    if (side->block_type != 2) {
        position[21] = bound <= kLong20[id][rate] ? position[20] : 0;
        return;
    }
    const int last = !side->mixed_block_flag ? 36 : id ? 35 : 33;
    const int start = kShort11[id][rate], middle = kShort12[id][rate];
    for (int w = 0; w < 3; w++) {
        const int width = middle - start, lastWidth = 192 - middle;
        const int coded = isZero(right + 3 * start + w * width, width) &&
                          isZero(right + 3 * middle + w * lastWidth, lastWidth);
        position[last + w] = coded ? position[last + w - 3] : 0;
    }
}

/* Decodes a frame to 576 samples for each granule and channel; 0 when it is damaged. */
static int decodeFrame(Qor8u* frame, int size, int channels, int granules, Qor16s* pcm) {
    QorMP3FrameHeader header;
    QorMP3SideInfo side[4];
    Qor32s mainDataBegin, privateBits, scfsi[8];
    Qor8u* stream = frame;
    qorsUnpackFrameHeader_MP3(&stream, &header);
    const QorStatus status =
        qorsUnpackSideInfo_MP3(&stream, side, &mainDataBegin, &privateBits, scfsi, &header);

    /* The reservoir: the last 511 bytes of main data, this frame's behind them, and zeros. */
    const int kept = state.mainBytes < kReservoir ? state.mainBytes : kReservoir;
    const int added = status == qorStsNoErr ? size - (int)(stream - frame) : 0;
    memmove(state.mainData, state.mainData + state.mainBytes - kept, (size_t)kept);
    if (added > 0) memcpy(state.mainData + kept, stream, (size_t)added);
    state.mainBytes = kept + (added > 0 ? added : 0);
    memset(state.mainData + state.mainBytes, 0, kSlack);
    if (status != qorStsNoErr || added < 0 || mainDataBegin > kept) return 0;

    int bit = 8 * (kept - mainDataBegin);
    for (int g = 0; g < granules; g++) {
        Qor32s lines[2 * kLines], bound[2], scratch[kLines];
        QorMP3SideInfo* granule = side + g * channels;
        for (int c = 0; c < channels; c++) {
            const int end = bit + granule[c].part2_3_length;
            Qor8u* const begin = state.mainData + bit / 8;
            Qor32s offset = bit % 8;
            if (end > 8 * state.mainBytes) return 0;
            stream = begin;
            if (qorsUnpackScaleFactors_MP3_1u8s(&stream, &offset, state.scaleFactors[c],
                                                &granule[c], scfsi + 4 * c, &header, g, c))
                return 0;
            const int left = end - (bit - bit % 8 + 8 * (int)(stream - begin) + offset);
            if (left < 0 || qorsHuffmanDecode_MP3_1u32s(&stream, &offset, lines + c * kLines,
                                                        &bound[c], &granule[c], &header, left))
                return 0;
            bit = end;
        }
        if (header.mode == 1 && (header.mode_extension & 1))
            supplyLastPosition(&header, &granule[1], lines + kLines, bound[1],
                               state.scaleFactors[1]);
        if (qorsReQuantize_MP3_32s_I(lines, bound, state.scaleFactors[0], granule, &header,
                                     scratch))
            return 0;
        for (int c = 0; c < channels; c++) {
            Qor32s subbands[kLines];
            if (qorsMDCTInv_MP3_32s(lines + c * kLines, subbands, state.overlap[c], bound[c],
                                    &state.subbandsBefore[c], granule[c].block_type,
                                    granule[c].mixed_block_flag))
                return 0;
            for (int t = 0; t < 18; t++)
                qorsSynthPQMF_MP3_32s16s(subbands + 32 * t,
                                         pcm + (g * kLines + 32 * t) * channels + c, state.ring[c],
                                         &state.ringPosition[c], channels);
        }
    }
    return 1;
}

int main(void) {
    Qor8u frame[kMaxFrame + 64] = {0}; /* readers may touch a few bytes more */
    QorMP3FrameHeader header;
    int size, damaged = 0;

    while ((size = readFrame(frame, &header)) > 0) {
        Qor16s pcm[2 * 2 * kLines] = {0};
        const int channels = header.mode == 3 ? 1 : 2, granules = header.id == 1 ? 2 : 1;
        damaged += !decodeFrame(frame, size, channels, granules, pcm);
        fwrite(pcm, sizeof *pcm, (size_t)(kLines * granules * channels), stdout);
    }
    if (damaged > 0) fprintf(stderr, "%d damaged frames\n", damaged);
    return 0;
}
