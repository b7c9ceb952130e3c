// Decodes MPEG-1 and MPEG-2 LSF Layer III frames through qorac.
//
// This is the control flow that a user of the library writes: copy it. The class takes whole
// frames, from the header to the last byte, and keeps what lasts from frame to frame: the bit
// reservoir and, per channel, the overlap and the synthesis ring. Finding the frames is the
// business of mp3stream.h.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "qorac.h"

class Mp3Decoder {
  public:
    static constexpr int kMaxSamples = 2 * 2 * 576;  // of one frame, all channels

    enum class Result {
        decoded,
        concealed,  // the frame was damaged; what came before it fades out in its place
    };

    // Decodes one frame into `pcm`, interleaved, and tells how it went. With `checkCrc` a frame
    // with a wrong CRC word counts as damaged. The frame's samples and channels are then those of
    // samplesPerChannel() and channels().
    Result decodeFrame(std::span<const std::uint8_t> frame, bool checkCrc, std::int16_t* pcm);

    // Fills the place of a frame that was lost, after at least one that was not. The bit reservoir
    // is lost with it.
    void concealFrame(std::int16_t* pcm);

    int channels() const { return channels_; }
    int samplesPerChannel() const { return 576 * granules_; }

  private:
    struct Channel {
        std::array<Qor32s, 576> overlap{};
        std::array<Qor32s, 512> ring{};
        Qor32s ringPosition = 0;
        Qor32s previousSubbands = 0;
        std::array<Qor32s, 576> goodLines{};  // of the last granule that was not damaged
    };

    bool unpackFrame(std::span<const std::uint8_t> frame, bool checkCrc);
    bool appendMainData(std::span<const std::uint8_t> mainData, int mainDataBegin);
    bool decodeGranule(int granule);
    void supplyLastIntensityPosition(const QorMP3SideInfo& side);
    void synthesizeGranule(const QorMP3SideInfo* side, std::int16_t* pcm);
    void concealGranule(std::int16_t* pcm);

    QorMP3FrameHeader header_{};
    std::array<QorMP3SideInfo, 4> side_{};
    std::array<Qor32s, 8> scfsi_{};
    std::array<std::array<Qor8s, 40>, 2> scaleFactors_{};
    int channels_ = 0;
    int granules_ = 0;

    // Main data: what is left of earlier frames, this frame's bytes, and zeros behind them, since
    // the Huffman decoder notices an overrun only when the regions are through.
    static constexpr std::size_t kReservoir = 511;
    static constexpr std::size_t kMaxFrame = 8192;
    static constexpr std::size_t kSlack = 2048;
    std::array<Qor8u, kReservoir + kMaxFrame + kSlack> mainData_{};
    std::size_t mainDataSize_ = 0;
    std::size_t readBit_ = 0;

    std::array<Qor32s, 2 * 576> lines_{};
    std::array<Qor32s, 2> bounds_{};
    std::array<Channel, 2> channel_{};
};
