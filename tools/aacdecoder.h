// Decodes AAC raw data blocks of ISO/IEC 13818-7 and 14496-3, object types Main, LC and LTP, through
// qorac.
//
// This is the control flow that a user of the library writes: copy it. The class takes ADTS frames
// or bare raw data blocks and keeps what lasts from block to block: the layout of the channels, and
// per channel the overlap, the shape of the last window and the predictors. Finding the frames is
// the business of aacstream.h.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "aacchannel.h"
#include "aaccursor.h"
#include "aacheader.h"
#include "aacprediction.h"
#include "qorac.h"

class AacDecoder {
  public:
    static constexpr std::size_t kSamples = 1024;  // per channel and block

    // Sets what the stream's header tells. Without a layout it comes from the stream, in a program
    // configuration element.
    void configure(int objectType, int samplingRateIndex, std::optional<AacLayout> layout);

    // 0 until the layout is known.
    int channels() const { return layout_ ? layout_->channels : 0; }

    struct Counts {
        std::size_t blocks = 0;     // decoded or concealed
        std::size_t concealed = 0;  // damaged; what came before fades out in their place
    };

    // Decodes an ADTS frame, whole, and appends its blocks to `pcm`, interleaved in WAV order. With
    // `checkCrc` a block with a wrong CRC word counts as damaged.
    Counts decodeAdtsFrame(std::span<const std::uint8_t> frame, bool checkCrc,
                           std::vector<std::int16_t>& pcm);

    // Decodes the raw data block at the start of `bytes`, which may go on behind it. False when it
    // is damaged: then nothing is known about its size.
    bool decodeBlock(std::span<const std::uint8_t> bytes, std::vector<std::int16_t>& pcm);
    // Bytes of the block that was decoded last.
    std::size_t blockSize() const { return blockSize_; }

    // Fills the place of a block that was lost, once the layout is known.
    void concealBlock(std::vector<std::int16_t>& pcm);

    // What the stream asks for and does not get.
    bool sawSbr() const { return sawSbr_; }
    bool sawCoupling() const { return sawCoupling_; }

  private:
    // What stands at one place of the output.
    struct Output {
        std::array<Qor32s, kSamples> overlap{};
        AacLinePredictor lines;
        AacLongTermPredictor longTerm;
        Qor32s windowShape = 0;                   // of the last block
        Qor32s windowSequence = 0;                // of the last block
        std::array<Qor32s, kSamples> spectrum{};  // of the last block that was not damaged
        Qor32s nextShape = 0, nextSequence = 0;   // of the block that is being decoded
        std::array<Qor32s, kSamples> next{};
        bool present = false;
    };

    // A run of bits that the CRC word covers.
    struct Protected {
        std::size_t begin, end, padTo;
    };

    bool parseBlock(std::span<const std::uint8_t> bytes);
    bool parseElement(Qor32u id);
    bool parseSingle(AacElementId id);
    bool parsePair();
    bool parseProgramConfig();
    bool parseData();
    bool parseFill();
    bool skipCoupling();
    bool skipDifferences(int count);

    bool decodeChannel(AacChannel& channel, bool commonWindow);
    void predictLines(AacChannel& stream, int place);
    bool finish(AacChannel& stream, int channel, QorAACChanPairElt& pair, int place);
    void fillNoise(AacChannel& stream, int channel, QorAACChanPairElt& pair);
    void deliver(const AacChannel& stream, int place);
    const AacSlot* takeSlot(AacElementId id, int tag);

    void synthesize(std::vector<std::int16_t>& pcm);
    bool crcMatches(std::span<const std::uint8_t> frame, std::size_t headerBytes, bool withHeader,
                    std::uint16_t word) const;

    AacSetup setup_;
    std::optional<AacLayout> layout_;
    bool layoutFromStream_ = true;
    std::array<Output, 8> output_;
    Qor32s noiseSeed_ = 1;
    std::array<Qor32s, 8 * 51> noiseState_{};
    bool sawSbr_ = false, sawCoupling_ = false;

    // The block in hand.
    AacCursor cursor_;
    std::size_t blockSize_ = 0;
    unsigned slotsTaken_ = 0;
    std::vector<Protected> protected_;
    std::array<AacChannel, 2> element_;
    QorAACMainHeader mainHeader_{};
};
