#include "mp3decoder.h"

#include <algorithm>

#include "mp3header.h"

namespace {

constexpr int kLines = 576;

}  // namespace

Mp3Decoder::Result Mp3Decoder::decodeFrame(std::span<const std::uint8_t> frame, bool checkCrc,
                                           std::int16_t* pcm) {
    bool good = unpackFrame(frame, checkCrc);
    for (int granule = 0; granule < granules_; ++granule) {
        good = good && decodeGranule(granule);
        std::int16_t* const out = pcm + granule * kLines * channels_;
        if (good)
            synthesizeGranule(&side_[granule * channels_], out);
        else
            concealGranule(out);
    }
    return good ? Result::decoded : Result::concealed;
}

void Mp3Decoder::concealFrame(std::int16_t* pcm) {
    mainDataSize_ = 0;
    for (int granule = 0; granule < granules_; ++granule)
        concealGranule(pcm + granule * kLines * channels_);
}

// --- header, side information, main data ------------------------------------------------------

bool Mp3Decoder::unpackFrame(std::span<const std::uint8_t> frame, bool checkCrc) {
    // The library reads up to three bytes behind the last bit that it uses, and never writes to its
    // input.
    std::array<Qor8u, 6 + 32 + 3> head{};
    std::copy_n(frame.begin(), std::min(frame.size(), head.size()), head.begin());
    Qor8u* stream = head.data();
    if (qorsUnpackFrameHeader_MP3(&stream, &header_) != qorStsNoErr) return false;
    channels_ = header_.mode == 3 ? 1 : 2;
    granules_ = header_.id == 1 ? 2 : 1;

    Qor32s mainDataBegin = 0, privateBits = 0;
    const QorStatus status = qorsUnpackSideInfo_MP3(&stream, side_.data(), &mainDataBegin,
                                                    &privateBits, scfsi_.data(), &header_);
    const std::size_t headSize = mp3HeadSize(header_);
    if (frame.size() < headSize) {
        mainDataSize_ = 0;  // the reservoir is lost with the frame's main data
        return false;
    }
    const bool crcGood = !checkCrc || mp3CrcMatches(frame, header_);
    const bool complete = appendMainData(frame.subspan(headSize), mainDataBegin);
    return status == qorStsNoErr && crcGood && complete;
}

// Joins a frame's main data to the reservoir and sets the read position; false when the reservoir
// does not reach back far enough, as it may be at the start of a stream and behind a gap.
bool Mp3Decoder::appendMainData(std::span<const std::uint8_t> mainData, int mainDataBegin) {
    const std::size_t kept = std::min(mainDataSize_, kReservoir);
    std::copy_n(mainData_.begin() + static_cast<std::ptrdiff_t>(mainDataSize_ - kept), kept,
                mainData_.begin());
    const std::size_t added = std::min(mainData.size(), kMaxFrame);
    const auto end =
        std::copy_n(mainData.begin(), added, mainData_.begin() + static_cast<std::ptrdiff_t>(kept));
    std::fill_n(end, kSlack, Qor8u{0});
    mainDataSize_ = kept + added;
    const auto begin = static_cast<std::size_t>(mainDataBegin);
    if (begin > kept) return false;
    readBit_ = 8 * (kept - begin);
    return true;
}

// --- one granule ------------------------------------------------------------------------------

bool Mp3Decoder::decodeGranule(int granule) {
    for (int c = 0; c < channels_; ++c) {
        QorMP3SideInfo& side = side_[granule * channels_ + c];
        const std::size_t end = readBit_ + static_cast<std::size_t>(side.part2_3_length);
        if (end > 8 * mainDataSize_) return false;

        Qor8u* stream = mainData_.data() + readBit_ / 8;
        Qor32s offset = static_cast<Qor32s>(readBit_ % 8);
        const Qor8u* const start = stream;
        const Qor32s startOffset = offset;
        if (qorsUnpackScaleFactors_MP3_1u8s(&stream, &offset, scaleFactors_[c].data(), &side,
                                            &scfsi_[4 * c], &header_, granule, c) != qorStsNoErr)
            return false;
        const int scaleFactorBits = static_cast<int>(stream - start) * 8 + offset - startOffset;
        if (scaleFactorBits > side.part2_3_length) return false;
        if (qorsHuffmanDecode_MP3_1u32s(&stream, &offset, &lines_[kLines * c], &bounds_[c], &side,
                                        &header_,
                                        side.part2_3_length - scaleFactorBits) != qorStsNoErr)
            return false;
        readBit_ = end;
    }
    const QorMP3SideInfo* const side = &side_[granule * channels_];
    if (header_.mode == 1 && (header_.mode_extension & 1)) supplyLastIntensityPosition(side[1]);
    std::array<Qor32s, kLines> scratch;
    return qorsReQuantize_MP3_32s_I(lines_.data(), bounds_.data(), scaleFactors_[0].data(), side,
                                    &header_, scratch.data()) == qorStsNoErr;
}

// The stream carries no intensity position for the highest band. It takes that of the band below
// where that one is intensity-coded too, which the right channel's lines tell: they are all 0 from
// there on.
void Mp3Decoder::supplyLastIntensityPosition(const QorMP3SideInfo& side) {
    const Qor32s* const right = &lines_[kLines];
    auto& position = scaleFactors_[1];
    if (side.block_type != 2) {
        position[21] = bounds_[1] <= mp3LongBand20(header_) ? position[20] : Qor8s{0};
        return;
    }
    const int last = !side.mixed_block_flag ? 36 : header_.id == 1 ? 35 : 33;
    const int start = mp3ShortBand11(header_), middle = mp3ShortBand12(header_);
    const auto allZero = [&](int line, int width) {
        return std::all_of(right + line, right + line + width, [](Qor32s v) { return v == 0; });
    };
    for (int w = 0; w < 3; ++w) {
        const int width11 = middle - start, width12 = 192 - middle;
        const bool coded =
            allZero(3 * start + w * width11, width11) && allZero(3 * middle + w * width12, width12);
        position[last + w] = coded ? position[last - 3 + w] : Qor8s{0};
    }
}

// --- synthesis --------------------------------------------------------------------------------

void Mp3Decoder::synthesizeGranule(const QorMP3SideInfo* side, std::int16_t* pcm) {
    for (int c = 0; c < channels_; ++c) {
        Channel& channel = channel_[c];
        Qor32s* const lines = &lines_[kLines * c];
        std::copy_n(lines, kLines, channel.goodLines.begin());
        std::fill(channel.goodLines.begin() + bounds_[c], channel.goodLines.end(), 0);

        std::array<Qor32s, kLines> subbands;
        qorsMDCTInv_MP3_32s(lines, subbands.data(), channel.overlap.data(), bounds_[c],
                            &channel.previousSubbands, side[c].block_type,
                            side[c].mixed_block_flag);
        for (int t = 0; t < 18; ++t)
            qorsSynthPQMF_MP3_32s16s(&subbands[32 * t], pcm + 32 * t * channels_ + c,
                                     channel.ring.data(), &channel.ringPosition, channels_);
    }
}

// In place of a damaged granule the last good spectrum sounds once more at half its level, so that
// a gap fades out instead of clicking.
void Mp3Decoder::concealGranule(std::int16_t* pcm) {
    constexpr QorMP3SideInfo kLongBlock{};
    const QorMP3SideInfo side[2] = {kLongBlock, kLongBlock};
    for (int c = 0; c < channels_; ++c) {
        const auto& good = channel_[c].goodLines;
        std::transform(good.begin(), good.end(), &lines_[kLines * c],
                       [](Qor32s line) { return line / 2; });
        bounds_[c] = kLines;
    }
    synthesizeGranule(side, pcm);
}
