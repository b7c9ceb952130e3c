/*
 * AAC decoding: an ADTS stream of AAC-LC, mono or stereo, to interleaved 16-bit PCM.
 *
 *     aac_decode < in.aac > out.raw
 *
 * With M/S and intensity stereo, noise substitution, temporal noise shaping and short blocks. Blocks
 * that cannot be decoded become silence.
 */
#include <qorac.h>
#include <stdio.h>
#include <string.h>

enum { kSamples = 1024, kMaxFrame = 8191, kSlack = 16384, kNoise = 13, kIntensity = 14, kLc = 2 };
enum { kUnset = -32768 }; /* no scale factor */
enum { kSce, kCpe, kCce, kLfe, kDse, kPce, kFil, kEnd };

/* One channel of a block. */
typedef struct {
    QorAACIcsInfo ics;
    QorAACChanInfo info;
    Qor16s scaleFactor[120];
    Qor8u codeBook[120];
    Qor8s tnsCoef[60];
    Qor32s spectrum[kSamples];
} Channel;

static Qor8u bytes[kMaxFrame + kSlack]; /* a frame, zeros behind it */
static Qor8u* stream;
static Qor32s offset;

/* What lasts from block to block. */
static Qor32s overlap[2][kSamples], shapeBefore[2], noiseSeed = 1;

static int getBits(int count) {
    int value = 0;
    for (; count > 0; count--) {
        value = value << 1 | (*stream >> (7 - offset) & 1);
        stream += offset == 7;
        offset = (offset + 1) % 8;
    }
    return value;
}

static void putByte(int value) {
    const int both = stream[0] << 8 | stream[1], shift = 8 - offset;
    const int changed = (both & ~(0xFF << shift)) | value << shift;
    stream[0] = (Qor8u)(changed >> 8);
    stream[1] = (Qor8u)changed;
}

/*
 * Noiseless decoding. It runs scale factors and noise energies as one chain of differences, which
 * may leave 0 to 255 though the two chains of the stream do not. As all values of the chain shift
 * with global_gain, the first 8 bits, it is then decoded with other gains, by bisection. The
 * stream's own gain goes to *pGain, the one that was taken to ch->info.
 */
static QorStatus decodeNoiseless(Channel* ch, int commonWindow, int rateIndex, int* pGain) {
    Qor8u* const start = stream;
    const Qor32s startOffset = offset;
    QorStatus status;
    int low = 0, high = 255;
    *pGain = getBits(8);
    for (int gain = *pGain;; gain = (low + high) / 2) {
        stream = start;
        offset = startOffset;
        putByte(gain);
        memset(&ch->info, 0, sizeof ch->info);
        ch->info.samplingRateIndex = rateIndex;
        ch->info.pIcsInfo = &ch->ics;
        for (int i = 0; i < 120; i++) ch->scaleFactor[i] = kUnset;
        /* There is no record for long-term prediction, which LC streams do not have. */
        status = qorsNoiselessDecode_AAC(&stream, &offset, NULL, ch->scaleFactor, ch->spectrum,
                                         ch->codeBook, ch->tnsCoef, &ch->info, 0, 0, commonWindow,
                                         0, kLc);
        if (status != qorStsAacScaleFactorErr) return status;

        int last = gain; /* of the chain: where it left the range, it had come close to one end */
        for (int i = 0; i < 120 && ch->scaleFactor[i] != kUnset; i++)
            if (ch->codeBook[i] != 0 && ch->codeBook[i] <= kNoise) last = ch->scaleFactor[i];
        if (last < 128)
            low = gain + 1;
        else
            high = gain - 1;
        if (low > high) return status;
    }
}

/* Reads a channel and makes its spectrum; 0 when it is damaged. */
static int readChannel(Channel* ch, int commonWindow, int rateIndex) {
    int gain, raise = 0, first = 1;
    if (decodeNoiseless(ch, commonWindow, rateIndex, &gain)) return 0;
    if (ch->ics.max_sfb > ch->info.numSwb || ch->ics.predictor_data_present) return 0;

    /* From the one chain to those of the stream. The first noise energy is coded by value. */
    const int bands = ch->ics.num_window_groups * ch->ics.max_sfb;
    int shared = ch->info.global_gain, scale = gain, energy = gain - shared;
    for (int i = 0; i < bands; i++) {
        const int value = ch->scaleFactor[i], book = ch->codeBook[i];
        if (book == 0 || book > kNoise) continue;
        if (book == kNoise) {
            energy += first ? value : value - shared;
            first = 0;
            /* The library takes 0, which is silent, to 83, about white noise at full scale. */
            ch->scaleFactor[i] = (Qor16s)(energy < 0 ? 0 : energy > 83 ? 83 : energy);
        } else {
            scale += value - shared;
            if (scale < 0 || scale > 255) return 0;
            ch->scaleFactor[i] = (Qor16s)scale;
            while (scale - 4 * raise > 188) raise++;
        }
        shared = value;
    }
    /* Very large steps: dequantize with smaller ones and raise the spectrum afterwards. */
    for (int i = 0; i < bands && raise > 0; i++)
        if (ch->codeBook[i] < kNoise) ch->scaleFactor[i] = (Qor16s)(ch->scaleFactor[i] - 4 * raise);
    if (qorsQuantInv_AAC_32s_I(ch->spectrum, ch->scaleFactor, ch->ics.num_window_groups,
                               ch->ics.window_group_length, ch->ics.max_sfb, ch->codeBook,
                               rateIndex, ch->info.winLen))
        return 0;
    for (int i = 0; i < kSamples && raise > 0; i++) {
        const Qor64s line = ch->spectrum[i] * ((Qor64s)1 << raise);
        ch->spectrum[i] = (Qor32s)(line > 2147483647    ? 2147483647
                                   : line < -2147483647 ? -2147483647
                                                        : line);
    }
    return 1;
}

/*
 * Undoes the stereo coding of a pair. Behind it the mask marks the bands whose noise the channels
 * share. The library looks at the right channel's code books, so noise of the left one is taken
 * out of the mask.
 */
static void decodeStereo(Channel* left, Channel* right, QorAACChanPairElt* pair) {
    const QorAACIcsInfo* ics = &right->ics;
    const int bands = ics->max_sfb, rate = right->info.samplingRateIndex, len = right->info.winLen;
    Qor8u mask[8][60] = {{0}};
    if (pair->ms_mask_present != 1) memset(pair->ms_used, pair->ms_mask_present == 2, 480);
    for (int g = 0, i = 0; pair->common_window && g < ics->num_window_groups; g++) {
        for (int b = 0; b < bands; b++, i++) {
            const int noise = left->codeBook[i] == kNoise, used = pair->ms_used[g][b] != 0;
            /* A mask of all bands does not invert intensity. */
            const int skip = pair->ms_mask_present == 2 && right->codeBook[i] >= kIntensity;
            mask[g][b] = (Qor8u)(used && !noise && !skip);
            pair->ms_used[g][b] = (Qor8u)(used && noise);
        }
    }
    if (left->info.winLen != len) return;
    if (pair->common_window)
        qorsDecodeMsStereo_AAC_32s_I(left->spectrum, right->spectrum, 1, mask, right->codeBook,
                                     ics->num_window_groups, ics->window_group_length, bands, rate,
                                     len);
    qorsDecodeIsStereo_AAC_32s(left->spectrum, right->spectrum, right->scaleFactor, right->codeBook,
                               ics->num_window_groups, ics->window_group_length, bands, rate, len);
}

/* What follows stereo: the order of windows, noise, temporal noise shaping. */
static int finishSpectrum(Channel* ch, int c, QorAACChanPairElt* pair) {
    static Qor32s noiseState[8][51];
    const QorAACIcsInfo* ics = &ch->ics;
    const int bands = ics->max_sfb, rate = ch->info.samplingRateIndex, len = ch->info.winLen;
    const Qor32s one = 1;
    Qor32s ltpFlags[52] = {0};
    if (len == 128) {
        Qor32s grouped[kSamples];
        memcpy(grouped, ch->spectrum, sizeof grouped);
        if (qorsDeinterleaveSpectrum_AAC_32s(grouped, ch->spectrum, ics->num_window_groups,
                                             ics->window_group_length, bands, rate, len))
            return 0;
    }
    for (int g = 0, window = 0; g < ics->num_window_groups; g++)
        for (int w = 0; w < ics->window_group_length[g]; w++, window++)
            if (qorsDecodeMsPNS_AAC_32s(ch->spectrum + window * len, ltpFlags,
                                        ch->codeBook + g * bands, ch->scaleFactor + g * bands,
                                        bands, 1, &one, rate, len, &noiseSeed, c, &pair->ms_used[g],
                                        noiseState[window]))
                return 0;
    return !ch->info.tns_data_present ||
           qorsDecodeTNS_AAC_32s_I(ch->spectrum, ch->info.n_filt, ch->info.length, ch->info.order,
                                   ch->info.coef_res, ch->tnsCoef, ch->info.direction, bands, 1,
                                   rate, len) == qorStsNoErr;
}

/* Reads one raw data block up to its end, a byte boundary; 0 when it is damaged. */
static int readBlock(Channel* ch, int channels, int rateIndex, const Qor8u* end) {
    static QorAACPrgCfgElt program;
    QorAACChanPairElt pair;
    Qor8u data[510];
    Qor32s tag, count;
    int id, found = 0;
    memset(&pair, 0, sizeof pair);
    while ((id = getBits(3)) != kEnd) {
        int good = 0;
        if (id == kSce && channels == 1 && !found) {
            getBits(4);
            good = found = readChannel(&ch[0], 0, rateIndex);
        } else if (id == kCpe && channels == 2 && !found) {
            getBits(4);
            good =
                !qorsDecodeChanPairElt_MP4_AAC(&stream, &offset, &ch[0].ics, &pair, NULL, 0, kLc);
            if (good && pair.common_window) ch[1].ics = ch[0].ics;
            for (int c = 0; c < 2; c++)
                good = good && readChannel(&ch[c], pair.common_window, rateIndex);
            if (good) decodeStereo(&ch[0], &ch[1], &pair);
            found = good;
        } else if (id == kDse) {
            good = !qorsDecodeDatStrElt_AAC(&stream, &offset, &tag, &count, data);
        } else if (id == kPce) {
            good = !qorsDecodePrgCfgElt_AAC(&stream, &offset, &program);
        } else if (id == kFil) {
            good = !qorsDecodeFillElt_AAC(&stream, &offset, &count, data);
        }
        if (!good || stream >= end) return 0;
    }
    stream += offset > 0;
    offset = 0;
    for (int c = 0; found && c < channels; c++) found = finishSpectrum(&ch[c], c, &pair);
    return found && stream <= end;
}

/* Reads the next ADTS frame; 0 at the end of the stream. */
static int readFrame(void) {
    memset(bytes, 0, sizeof bytes);
    size_t got = fread(bytes, 1, 7, stdin);
    while (got == 7) {
        const int size = (bytes[3] & 3) << 11 | bytes[4] << 3 | bytes[5] >> 5;
        if (bytes[0] == 0xFF && (bytes[1] & 0xF6) == 0xF0 && size > 7)
            return fread(bytes + 7, 1, (size_t)size - 7, stdin) == (size_t)size - 7 ? size : 0;
        memmove(bytes, bytes + 1, 6);
        got = 6 + fread(bytes + 6, 1, 1, stdin);
    }
    return 0;
}

int main(void) {
    static Channel channel[2];
    int size, damaged = 0;
    while ((size = readFrame()) > 0) {
        QorAACAdtsHeader header;
        stream = bytes;
        qorsUnpackADTSFrameHeader_AAC(&stream, &header);
        const int channels = header.channel_configuration;
        const int blocks = header.number_of_raw_data_blocks_in_frame;
        if (header.profile != kLc - 1 || channels < 1 || channels > 2) {
            fprintf(stderr, "not mono or stereo AAC-LC\n");
            return 1;
        }
        /* With CRC words a frame of several blocks has their positions in front. */
        const int perBlock = !header.protection_absent && blocks > 1 ? 2 : 0;
        stream += perBlock * (blocks - 1);
        for (int b = 0, good = 1; b < blocks; b++) {
            Qor16s pcm[2 * kSamples] = {0};
            offset = 0;
            good =
                good && readBlock(channel, channels, header.sampling_frequency_index, bytes + size);
            stream += good ? perBlock : 0;
            damaged += !good;
            for (int c = 0; good && c < channels; c++) {
                const QorAACIcsInfo* ics = &channel[c].ics;
                qorsMDCTInv_AAC_32s16s(channel[c].spectrum, pcm + c, overlap[c],
                                       ics->window_sequence, ics->window_shape, shapeBefore[c],
                                       channels);
                shapeBefore[c] = ics->window_shape;
            }
            fwrite(pcm, sizeof *pcm, (size_t)(kSamples * channels), stdout);
        }
    }
    if (damaged > 0) fprintf(stderr, "%d damaged blocks\n", damaged);
    return 0;
}
