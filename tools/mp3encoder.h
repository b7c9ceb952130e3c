// Encodes 16-bit PCM to MPEG-1 Layer III frames of constant bit rate through qorac.
//
// This is the control flow that a user of the library writes: copy it. The class takes frames of
// 1152 samples per channel and hands out whole frames of the stream, some frames later: a frame's
// main data may begin in the frames before it, so that a frame is complete only when the main data
// of later ones have filled it (the bit reservoir). What lasts from frame to frame is all here: the
// PCM that the filters reach back to, the overlap of the MDCT, the states of the psychoacoustic
// model and the frames that wait for main data.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <span>
#include <vector>

#include "qorac.h"

struct Mp3EncoderSettings {
    int sampleRate = 44100;  // 32000, 44100 or 48000
    int channels = 2;        // 1 or 2
    int bitRate = 128;       // kbit/s, one of MPEG-1 Layer III's 14
    bool joint = true;       // two channels: mid/side where the model finds it cheaper
    bool crc = false;        // a CRC word behind each header
};

struct Mp3EncoderStatistics {
    std::uint64_t frames = 0;
    std::uint64_t midSideFrames = 0;
    std::uint64_t granules = 0;        // of all channels
    std::uint64_t silentGranules = 0;  // all lines of which are 0
    std::uint64_t shortDecisions = 0;  // where the model would have switched to short blocks
    std::uint64_t retries = 0;         // frames quantized again with fewer bits
    std::uint64_t reservoirBytes = 0;  // sum of main_data_begin
    std::uint64_t ancillaryBytes = 0;  // main data that no granule could take
};

class Mp3Encoder {
  public:
    static constexpr int kFrameSamples = 1152;  // per channel
    // Samples by which the stream is late, before the 529 of the decoder's filter bank.
    static constexpr int kDelay = 800;

    // Throws std::invalid_argument for settings that MPEG-1 Layer III does not have.
    explicit Mp3Encoder(const Mp3EncoderSettings& settings);

    // Encodes 1152 samples per channel, interleaved, and appends the frames that are complete.
    // Throws std::invalid_argument for any other number.
    void encode(std::span<const std::int16_t> pcm, std::vector<std::uint8_t>& stream);
    // Appends the frames that still wait, filled up with zeros.
    void flush(std::vector<std::uint8_t>& stream);

    // The header that every frame shares but for padding, stereo mode and CRC word.
    const QorMP3FrameHeader& header() const { return header_; }
    const Mp3EncoderStatistics& statistics() const { return statistics_; }
    // Largest number of bytes that main_data_begin takes at this bit rate.
    int reservoirLimit() const { return reservoir_.maxBits / 8; }

    // Puts the ratios of a frame where they belong. The model leaves those of the second granule in
    // the records of the first, over those of the first granule, which the states held before the
    // call. `firstState` is 2 with mid/side, where channels 2 and 3 are coded, else 0.
    static void placeRatios(std::span<const QorMP3PsychoState, 4> before,
                            std::span<const QorMP3PsychoState, 4> after, std::size_t firstState,
                            std::span<const QorMP3SideInfo> side, std::size_t channels,
                            std::span<QorMP3PsychoInfo> psy);

  private:
    static constexpr int kGranules = 2;
    static constexpr int kLines = 576;

    // What the quantizer takes and gives for one frame.
    struct Frame {
        QorMP3FrameHeader header;
        std::array<QorMP3SideInfo, 4> side;
        std::array<QorMP3PsychoInfo, 4> psy;
        std::array<Qor32s, 6> isBound;
        std::array<Qor32s, 4 * kLines> lines;
        std::array<Qor8s, 4 * 40> scaleFactors;
        std::array<Qor32s, 4> count1Len;
        std::array<Qor32s, 4> hufBits;
        QorMP3BitReservoir reservoir;
    };
    // A frame of the stream: header and side information, and the room behind them.
    struct PendingFrame {
        std::vector<std::uint8_t> head;
        std::size_t room;
    };

    int records() const { return kGranules * channels_; }
    void analyse(Frame& frame);
    void transform(Frame& frame);
    int nextPadding();
    int frameBytes(int padding) const;
    int headBytes() const;
    bool quantize(Frame& frame, int meanBits, std::vector<std::uint8_t>& mainData);
    bool packMainData(Frame& frame, std::vector<std::uint8_t>& mainData);
    std::vector<std::uint8_t> packHead(const Frame& frame, int mainDataBegin) const;
    void emit(std::vector<std::uint8_t>& stream);

    int sampleRate_;
    int bitRate_;
    int channels_;
    QorMP3FrameHeader header_{};
    QorMP3BitReservoir reservoir_{};
    int paddingRest_ = 0;

    // The last samples of the frames before and those of this one.
    static constexpr int kHistory = 752;
    std::vector<Qor16s> pcm_;
    std::array<std::array<Qor32s, kLines>, 2> overlap_{};
    std::array<QorMP3PsychoState, 4> state_{};
    std::vector<Qor64s> modelScratch_;
    std::array<Qor32s, 2 * kLines> quantizerScratch_{};

    std::deque<PendingFrame> pending_;
    std::vector<std::uint8_t> mainData_;  // that no frame has taken yet
    Mp3EncoderStatistics statistics_;
};
