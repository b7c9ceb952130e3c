#include "aacdecoder.h"

#include <algorithm>

namespace {

constexpr Qor32s kLongWindow = 0, kStartWindow = 1, kShortWindows = 2, kStopWindow = 3;
// A window sequence that may follow.
Qor32s following(Qor32s windowSequence) {
    return windowSequence == kStartWindow || windowSequence == kShortWindows ? kStopWindow
                                                                             : kLongWindow;
}

// The bands' energies as the library takes them: of the values 0, which is silent, to 83. For louder
// noise all bands are made softer; the bits by which their lines are to be raised are returned.
int noiseEnergies(const AacChannel& stream, std::array<Qor16s, 120>& energy) {
    constexpr int kLoudest = 83;
    int loudest = 0;
    for (int i = 0; i < stream.bands(); ++i)
        if (stream.codeBook[i] == AacChannel::kNoiseBook)
            loudest = std::max<int>(loudest, stream.scaleFactor[i]);
    const int shift = std::max(0, (loudest - kLoudest + 3) / 4);
    for (int i = 0; i < stream.bands(); ++i)
        energy[i] = static_cast<Qor16s>(std::clamp(stream.scaleFactor[i] - 4 * shift, 0, kLoudest));
    return shift;
}

}  // namespace

void AacDecoder::configure(int objectType, int samplingRateIndex, std::optional<AacLayout> layout) {
    setup_ = {objectType, samplingRateIndex};
    layoutFromStream_ = !layout;
    layout_ = std::move(layout);
}

// --- frames -----------------------------------------------------------------------------------

AacDecoder::Counts AacDecoder::decodeAdtsFrame(std::span<const std::uint8_t> frame, bool checkCrc,
                                               std::vector<std::int16_t>& pcm) {
    const QorAACAdtsHeader header = adtsReadHeader(frame);
    const int blocks = header.number_of_raw_data_blocks_in_frame;
    const bool hasCrc = header.protection_absent == 0, oneBlock = blocks == 1;
    const auto word = [&](std::size_t at) {
        return static_cast<std::uint16_t>(at + 2 <= frame.size() ? frame[at] << 8 | frame[at + 1]
                                                                 : 0);
    };

    // A frame of several blocks has the positions of all but the first, and a CRC word of the
    // header and one behind each block; a frame of one block has one word for both.
    std::size_t position = kAdtsHeaderSize;
    bool complete = frame.size() >= static_cast<std::size_t>(header.aac_frame_length);
    if (hasCrc) {
        position += 2 * static_cast<std::size_t>(blocks - 1);
        protected_.clear();
        if (checkCrc && !oneBlock)
            complete = complete && crcMatches(frame, position, true, word(position));
        position += 2;
    }

    Counts counts;
    for (int b = 0; b < blocks; ++b) {
        bool good = complete && position < frame.size() && parseBlock(frame.subspan(position));
        complete = good;  // the next block begins where this one ends
        if (good) {
            position += blockSize_;
            if (hasCrc && checkCrc)
                good = oneBlock ? crcMatches(frame, kAdtsHeaderSize, true,
                                             static_cast<std::uint16_t>(header.crc_check))
                                : crcMatches(frame, 0, false, word(position));
            if (hasCrc && !oneBlock) position += 2;
        }
        if (!layout_) continue;
        ++counts.blocks;
        if (good) {
            synthesize(pcm);
        } else {
            ++counts.concealed;
            concealBlock(pcm);
        }
    }
    return counts;
}

bool AacDecoder::decodeBlock(std::span<const std::uint8_t> bytes, std::vector<std::int16_t>& pcm) {
    if (!parseBlock(bytes)) return false;
    synthesize(pcm);
    return true;
}

// The word covers the header and, of each element, the bits that 13818-7 clause 6.2.1 names.
bool AacDecoder::crcMatches(std::span<const std::uint8_t> frame, std::size_t headerBytes,
                            bool withHeader, std::uint16_t word) const {
    AacCrc crc;
    if (withHeader) crc.add(frame.data(), 0, 8 * std::min(headerBytes, frame.size()));
    for (const Protected& run : protected_) crc.add(cursor_.data(), run.begin, run.end, run.padTo);
    return crc.value() == word;
}

// --- elements ---------------------------------------------------------------------------------

// Reads a raw data block; the spectra of its channels then wait for the synthesis.
bool AacDecoder::parseBlock(std::span<const std::uint8_t> bytes) {
    cursor_.load(bytes);
    slotsTaken_ = 0;
    protected_.clear();
    for (Output& output : output_) output.present = false;

    while (cursor_.bitsLeft() >= 3) {
        const Qor32u id = cursor_.getBits(3);
        if (id == kEnd) {
            blockSize_ = (cursor_.position() + 7) / 8;
            return layout_.has_value();
        }
        const std::size_t begin = cursor_.position();
        if (!parseElement(id) || !cursor_.inside()) return false;
        if (id == kPce || id == kDse)
            protected_.push_back({begin, cursor_.position(), 0});
        else if (id == kCce)
            protected_.push_back({begin, cursor_.position(), 192});
    }
    return false;
}

bool AacDecoder::parseElement(Qor32u id) {
    switch (id) {
        case kSce:
        case kLfe:
            return parseSingle(static_cast<AacElementId>(id));
        case kCpe:
            return parsePair();
        case kCce:
            return skipCoupling();
        case kDse:
            return parseData();
        case kPce:
            return parseProgramConfig();
        default:
            return parseFill();
    }
}

bool AacDecoder::parseSingle(AacElementId id) {
    const std::size_t begin = cursor_.position();
    const AacSlot* const slot = takeSlot(id, static_cast<int>(cursor_.getBits(4)));
    AacChannel& stream = element_[0];
    if (slot == nullptr || !decodeChannel(stream, false)) return false;
    protected_.push_back({begin, cursor_.position(), 192});
    if (!stream.dequantize()) return false;
    predictLines(stream, slot->place[0]);
    QorAACChanPairElt noPair{};
    return finish(stream, 0, noPair, slot->place[0]);
}

bool AacDecoder::parsePair() {
    const std::size_t begin = cursor_.position();
    const AacSlot* const slot = takeSlot(kCpe, static_cast<int>(cursor_.getBits(4)));
    if (slot == nullptr) return false;
    AacChannel &left = element_[0], &right = element_[1];
    QorAACChanPairElt pair{};
    if (qorsDecodeChanPairElt_MP4_AAC(cursor_.stream(), cursor_.offset(), &left.ics, &pair,
                                      &mainHeader_, setup_.predictedBands(),
                                      setup_.objectType) != qorStsNoErr)
        return false;
    const bool common = pair.common_window != 0;
    if (common) {
        right.ics = left.ics;
        left.ltp = mainHeader_.ltp[0];
        right.ltp = mainHeader_.ltp[1];
    }
    if (pair.ms_mask_present != 1)
        for (auto& row : pair.ms_used)
            std::fill(std::begin(row), std::end(row), Qor8u(pair.ms_mask_present == 2));

    if (!decodeChannel(left, common)) return false;
    const std::size_t second = cursor_.position();
    if (!decodeChannel(right, common)) return false;
    protected_.push_back({begin, cursor_.position(), 192});
    protected_.push_back({second, cursor_.position(), 128});

    if (!left.dequantize() || !right.dequantize()) return false;
    aacDecodeMidSide(left, right, pair);
    predictLines(left, slot->place[0]);
    predictLines(right, slot->place[1]);
    aacDecodeIntensity(left, right);
    // Only noise that the left channel has too can be shared.
    for (int g = 0, i = 0; common && g < left.ics.num_window_groups; ++g)
        for (int sfb = 0; sfb < left.ics.max_sfb; ++sfb, ++i)
            if (left.codeBook[i] != AacChannel::kNoiseBook) pair.ms_used[g][sfb] = 0;
    return finish(left, 0, pair, slot->place[0]) && finish(right, 1, pair, slot->place[1]);
}

bool AacDecoder::parseProgramConfig() {
    QorAACPrgCfgElt pce;
    qorsDecodePrgCfgElt_AAC(cursor_.stream(), cursor_.offset(), &pce);
    if (!layoutFromStream_ || !cursor_.inside()) return true;
    std::optional<AacLayout> layout = aacLayout(pce);
    if (!layout || (layout_ && layout_->channels != layout->channels)) return false;
    layout_ = std::move(layout);
    return true;
}

bool AacDecoder::parseData() {
    Qor32s tag, count;
    std::array<Qor8u, 510> data;
    return qorsDecodeDatStrElt_AAC(cursor_.stream(), cursor_.offset(), &tag, &count, data.data()) ==
           qorStsNoErr;
}

bool AacDecoder::parseFill() {
    constexpr int kSbrData = 13, kSbrDataCrc = 14;
    Qor32s count;
    std::array<Qor8u, 269> payload;
    if (qorsDecodeFillElt_AAC(cursor_.stream(), cursor_.offset(), &count, payload.data()) !=
        qorStsNoErr)
        return false;
    const int extensionType = count > 0 ? payload[0] >> 4 : 0;
    sawSbr_ = sawSbr_ || extensionType == kSbrData || extensionType == kSbrDataCrc;
    return true;
}

// Reads over a coupling channel element (13818-7 clause 6.3).
bool AacDecoder::skipCoupling() {
    sawCoupling_ = true;
    cursor_.getBits(4);  // element_instance_tag
    const bool independent = cursor_.getBits(1) != 0;
    int lists = 0;
    for (Qor32u coupled = cursor_.getBits(3) + 1; coupled > 0; --coupled) {
        const bool isPair = cursor_.getBits(1) != 0;
        cursor_.getBits(4);  // cc_target_tag_select
        const bool both = isPair && cursor_.getBits(2) == 3;
        lists += both ? 2 : 1;
    }
    cursor_.getBits(4);  // cc_domain, gain_element_sign, gain_element_scale
    AacChannel& stream = element_[0];
    if (!decodeChannel(stream, false)) return false;
    const auto codeBooks =
        std::span(stream.codeBook).first(static_cast<std::size_t>(stream.bands()));
    const int bands =
        static_cast<int>(codeBooks.size() - std::count(codeBooks.begin(), codeBooks.end(), 0));
    for (int list = 1; list < lists; ++list) {
        const bool commonGain = independent || cursor_.getBits(1) != 0;
        if (!skipDifferences(commonGain ? 1 : bands)) return false;
    }
    return true;
}

// Reads over `count` words of the scale-factor code book. They are handed to the noiseless decoder
// as the intensity positions of a channel made up around them.
bool AacDecoder::skipDifferences(int count) {
    constexpr int kMost = 30, kLongestCode = 19;  // 30 bands need no escape of the section length
    for (; count > 0; count -= kMost) {
        const int bands = std::min(count, kMost);
        std::array<Qor8u, (8 + 4 + 5 + kMost * kLongestCode) / 8 + 4> bits{};
        std::size_t end = 0;
        const auto put = [&](Qor32u value, int width) {
            for (int i = width - 1; i >= 0; --i, ++end)
                bits[end / 8] = Qor8u(bits[end / 8] | (value >> i & 1) << (7 - end % 8));
        };
        put(0, 8);  // global_gain
        put(AacChannel::kIntensityBook, 4);
        put(static_cast<Qor32u>(bands), 5);
        const std::size_t head = end, begin = cursor_.position();
        for (int i = 0; i < bands; ++i) put(cursor_.getBits(kLongestCode), kLongestCode);

        AacChannel scratch;
        scratch.info = {};
        scratch.info.samplingRateIndex = setup_.samplingRateIndex;
        QorAACMainHeader windows{};
        windows.num_window_groups = windows.window_group_length[0] = 1;
        Qor8u* stream = bits.data();
        Qor32s offset = 0;
        if (qorsNoiselessDecode_AAC(&stream, &offset, &windows, scratch.scaleFactor.data(),
                                    scratch.spectrum.data(), scratch.codeBook.data(),
                                    scratch.tnsCoef.data(), &scratch.info, kLongWindow, bands, 1, 1,
                                    setup_.objectType) != qorStsNoErr)
            return false;
        cursor_.seek(begin + static_cast<std::size_t>(stream - bits.data()) * 8 +
                     static_cast<std::size_t>(offset) - head);
    }
    return true;
}

bool AacDecoder::decodeChannel(AacChannel& channel, bool commonWindow) {
    return channel.decode(cursor_, setup_, mainHeader_, commonWindow);
}

// The place of an element in the layout, nothing when the layout has none left.
const AacSlot* AacDecoder::takeSlot(AacElementId id, int tag) {
    if (!layout_) return nullptr;
    for (std::size_t i = 0; i < layout_->slots.size(); ++i) {
        const AacSlot& slot = layout_->slots[i];
        if (slot.id != id || (slotsTaken_ >> i & 1) || (slot.tag >= 0 && slot.tag != tag)) continue;
        slotsTaken_ |= 1u << i;
        return &slot;
    }
    return nullptr;
}

// --- prediction and noise -----------------------------------------------------------------------

void AacDecoder::predictLines(AacChannel& stream, int place) {
    if (setup_.objectType == kAacMain) output_[place].lines.run(stream);
}

// What follows stereo, on a channel in grouped order.
bool AacDecoder::finish(AacChannel& stream, int channel, QorAACChanPairElt& pair, int place) {
    stream.deinterleave();
    fillNoise(stream, channel, pair);
    output_[place].longTerm.run(stream, output_[place].windowShape);
    if (!stream.shapeNoise()) return false;
    deliver(stream, place);
    return true;
}

// Noise substitution, window by window: a call of its own for each short window, with the rows of
// its group. `channel` is 0 or 1 in a pair, whose two channels share the noise of the bands in the
// mask.
void AacDecoder::fillNoise(AacChannel& stream, int channel, QorAACChanPairElt& pair) {
    const QorAACIcsInfo& ics = stream.ics;
    const auto* const books = stream.codeBook.data();
    if (std::find(books, books + stream.bands(), AacChannel::kNoiseBook) == books + stream.bands())
        return;
    constexpr Qor32s kOneWindow = 1;
    std::array<Qor16s, 120> energy;
    const int shift = noiseEnergies(stream, energy);
    std::array<Qor32s, AacChannel::kLines> softer{};
    auto& noise = shift > 0 ? softer : stream.spectrum;
    // Bands of noise lose their flag of long-term prediction.
    std::array<Qor32s, 52> ltpFlag{};
    if (!stream.isShort()) std::copy_n(stream.ltp.ltp_long_used, 41, ltpFlag.begin());
    for (int g = 0, window = 0; g < ics.num_window_groups; ++g) {
        for (int w = 0; w < ics.window_group_length[g]; ++w, ++window) {
            qorsDecodeMsPNS_AAC_32s(&noise[window * stream.info.winLen], ltpFlag.data(),
                                    &stream.codeBook[g * ics.max_sfb], &energy[g * ics.max_sfb],
                                    ics.max_sfb, 1, &kOneWindow, stream.info.samplingRateIndex,
                                    stream.info.winLen, &noiseSeed_, channel, &pair.ms_used[g],
                                    &noiseState_[window * 51]);
        }
    }
    if (!stream.isShort()) std::copy_n(ltpFlag.begin(), 41, stream.ltp.ltp_long_used);
    if (shift > 0)
        for (std::size_t i = 0; i < softer.size(); ++i)
            if (softer[i] != 0) stream.spectrum[i] = aacRaised(softer[i], shift);
}

// Hands a finished spectrum to its place in the output.
void AacDecoder::deliver(const AacChannel& stream, int place) {
    Output& output = output_[place];
    output.present = true;
    output.next = stream.spectrum;
    output.nextSequence = stream.ics.window_sequence;
    output.nextShape = stream.ics.window_shape;
}

// --- synthesis --------------------------------------------------------------------------------

void AacDecoder::synthesize(std::vector<std::int16_t>& pcm) {
    const auto count = static_cast<std::size_t>(channels()), base = pcm.size();
    pcm.resize(base + kSamples * count);
    for (std::size_t c = 0; c < count; ++c) {
        Output& output = output_[c];
        if (!output.present) {
            output.next.fill(0);
            output.nextSequence = following(output.windowSequence);
            output.nextShape = output.windowShape;
        }
        output.spectrum = output.next;  // for concealment
        if (setup_.objectType == kAacLtp)
            output.longTerm.update(output.next.data(), output.nextSequence, output.nextShape,
                                   output.windowShape);
        // Mono and stereo go straight to their places.
        std::array<Qor16s, kSamples> planar;
        const bool direct = count <= 2;
        qorsMDCTInv_AAC_32s16s(output.next.data(), direct ? &pcm[base + c] : planar.data(),
                               output.overlap.data(), output.nextSequence, output.nextShape,
                               output.windowShape, direct ? static_cast<Qor32s>(count) : 1);
        for (std::size_t i = 0; i < kSamples && !direct; ++i) pcm[base + i * count + c] = planar[i];
        output.windowSequence = output.nextSequence;
        output.windowShape = output.nextShape;
    }
}

// In place of a damaged block the last good spectrum sounds once more at half its level, so that a
// gap fades out instead of clicking: short windows as one long block of about the same sound.
void AacDecoder::concealBlock(std::vector<std::int16_t>& pcm) {
    for (int c = 0; c < channels(); ++c) {
        Output& output = output_[c];
        const bool wasShort = output.windowSequence == kShortWindows;
        for (std::size_t i = 0; i < kSamples; ++i)
            output.next[i] = output.spectrum[wasShort ? i % 8 * 128 + i / 8 : i] / 2;
        output.present = true;
        output.nextSequence = following(output.windowSequence);
        output.nextShape = output.windowShape;
    }
    synthesize(pcm);
}
