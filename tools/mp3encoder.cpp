#include "mp3encoder.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <string>

#include "mp3header.h"

namespace {

constexpr std::array<int, 15> kBitRates = {0,   32,  40,  48,  56,  64,  80, 96,
                                           112, 128, 160, 192, 224, 256, 320};
constexpr std::array<int, 3> kSampleRates = {44100, 48000, 32000};

constexpr int kMaxPartBits = 4095;    // part2_3_length has 12 bits
constexpr int kModelSamples = 1600;   // that the model reads for two granules
constexpr int kModelScratch = 25152;  // bytes
// Room for the main data of one frame: two granules of two channels, and what a writer may touch.
constexpr std::size_t kMaxMainData = 4 * (kMaxPartBits + 8) / 8 + 64;
// A budget that does not work out is cut by a sixteenth at a time.
constexpr int kBudgetSteps = 16;

template <typename Table>
int indexOf(const Table& table, int value, const char* what) {
    const auto found = std::find(table.begin(), table.end(), value);
    if (value == 0 || found == table.end())
        throw std::invalid_argument(std::string("MPEG-1 Layer III has no ") + what + " of " +
                                    std::to_string(value));
    return static_cast<int>(found - table.begin());
}

}  // namespace

Mp3Encoder::Mp3Encoder(const Mp3EncoderSettings& settings)
    : sampleRate_(settings.sampleRate), bitRate_(settings.bitRate), channels_(settings.channels) {
    if (channels_ != 1 && channels_ != 2)
        throw std::invalid_argument("Layer III has one or two channels");
    header_.id = 1;
    header_.layer = 1;
    header_.protection_bit = settings.crc ? 0 : 1;
    header_.bitrate_index = indexOf(kBitRates, bitRate_, "bit rate");
    header_.sampling_frequency = indexOf(kSampleRates, sampleRate_, "sampling rate");
    header_.mode = channels_ == 1 ? 3 : settings.joint ? 1 : 0;
    header_.original = 1;
    qorsBitReservoirInit_MP3(&reservoir_, &header_);
    pcm_.resize(static_cast<std::size_t>((kHistory + kFrameSamples) * channels_));
    modelScratch_.resize(kModelScratch / sizeof(Qor64s));
}

void Mp3Encoder::encode(std::span<const std::int16_t> pcm, std::vector<std::uint8_t>& stream) {
    if (pcm.size() != static_cast<std::size_t>(kFrameSamples * channels_))
        throw std::invalid_argument("a frame has 1152 samples of each channel");
    const auto history = static_cast<std::ptrdiff_t>(kHistory * channels_);
    std::copy(pcm_.end() - history, pcm_.end(), pcm_.begin());
    std::copy(pcm.begin(), pcm.end(), pcm_.begin() + history);

    Frame frame{};
    frame.header = header_;
    frame.header.padding_bit = nextPadding();
    analyse(frame);
    transform(frame);

    const int room = frameBytes(frame.header.padding_bit) - headBytes();
    const int mainDataBegin = reservoir_.bitsAvail / 8;
    std::vector<std::uint8_t> mainData;

    // part2_3_length holds 4095 bits: what a frame brings in beyond that for all its records (one
    // channel at 320 kbit/s) is never given to the quantizer.
    const int meanBits = std::min(8 * room, kMaxPartBits / 8 * 8 * records());
    Frame attempt;  // the quantizer works in place
    bool done = false;
    for (int step = kBudgetSteps; !done && step >= 0; --step) {
        attempt = frame;
        attempt.reservoir = reservoir_;
        attempt.reservoir.bitsAvail = reservoir_.bitsAvail / 8 * step / kBudgetSteps * 8;
        done = quantize(attempt, meanBits / 8 * step / kBudgetSteps * 8, mainData) &&
               static_cast<int>(mainData.size()) <= mainDataBegin + room;
        if (!done && step == kBudgetSteps) ++statistics_.retries;
    }
    if (!done) throw std::runtime_error("a frame could not be quantized");

    // What the quantizer was not offered, or could not place, is filled up behind the main data:
    // ancillary data of zeros, so that the reservoir never passes its limit.
    const int before = mainDataBegin + room;
    const int least = std::max(before - reservoir_.maxBits / 8, 0);
    const int used = static_cast<int>(mainData.size());
    if (used < least) {
        mainData.resize(static_cast<std::size_t>(least));
        statistics_.ancillaryBytes += static_cast<std::uint64_t>(least - used);
    }
    reservoir_.bitsAvail = 8 * (before - static_cast<int>(mainData.size()));

    pending_.push_back({packHead(attempt, mainDataBegin), static_cast<std::size_t>(room)});
    mainData_.insert(mainData_.end(), mainData.begin(), mainData.end());
    emit(stream);

    ++statistics_.frames;
    statistics_.midSideFrames += frame.header.mode_extension != 0;
    statistics_.reservoirBytes += static_cast<std::uint64_t>(mainDataBegin);
    statistics_.granules += static_cast<std::uint64_t>(records());
    for (int i = 0; i < records(); ++i)
        statistics_.silentGranules += attempt.side[static_cast<std::size_t>(i)].big_values == 0 &&
                                      attempt.count1Len[static_cast<std::size_t>(i)] == 0;
}

void Mp3Encoder::flush(std::vector<std::uint8_t>& stream) {
    std::size_t room = 0;
    for (const PendingFrame& frame : pending_) room += frame.room;
    mainData_.resize(room);
    emit(stream);
}

// Bytes of frames are bit rate / 8 * 1152 / sampling rate on average: a frame is one byte longer
// when the rest that the truncation has left reaches a byte.
int Mp3Encoder::nextPadding() {
    paddingRest_ += 144000 * bitRate_ % sampleRate_;
    if (paddingRest_ < sampleRate_) return 0;
    paddingRest_ -= sampleRate_;
    return 1;
}

int Mp3Encoder::frameBytes(int padding) const { return 144000 * bitRate_ / sampleRate_ + padding; }

int Mp3Encoder::headBytes() const { return static_cast<int>(mp3HeadSize(header_)); }

// --- analysis ---------------------------------------------------------------------------------

// The model runs one granule ahead: it analyses the second granule of this frame and the first of
// the next, and its states hold what belongs to the first of this one.
void Mp3Encoder::analyse(Frame& frame) {
    const std::array<QorMP3PsychoState, 4> before = state_;
    const Qor16s* pcm = pcm_.data() + (kHistory + kFrameSamples - kModelSamples) * channels_;
    qorsPsychoacousticModelTwo_MP3_16s(pcm, frame.psy.data(), frame.isBound.data(),
                                       frame.side.data(), &frame.header, state_.data(), nullptr,
                                       reinterpret_cast<Qor8u*>(modelScratch_.data()));

    // Intensity stereo stays off: its positions could not be sent for a band above a silent right
    // channel, and below 80 kbit/s the model has no bound for it.
    frame.header.mode_extension &= 2;
    placeRatios(before, state_, static_cast<std::size_t>(frame.header.mode_extension), frame.side,
                static_cast<std::size_t>(channels_), frame.psy);

    // All blocks are long: the library's short transform is not what a decoder inverts, and the
    // scale factors of short blocks may not fit the stream. The model's memory has to agree.
    for (std::size_t i = 0; i < static_cast<std::size_t>(records()); ++i) {
        QorMP3SideInfo& side = frame.side[i];
        statistics_.shortDecisions += side.block_type == 2;
        side.block_type = side.window_switching_flag = side.mixed_block_flag = 0;
    }
    for (QorMP3PsychoState& state : state_) state.blockType = 0;
}

void Mp3Encoder::placeRatios(std::span<const QorMP3PsychoState, 4> before,
                             std::span<const QorMP3PsychoState, 4> after, std::size_t firstState,
                             std::span<const QorMP3SideInfo> side, std::size_t channels,
                             std::span<QorMP3PsychoInfo> psy) {
    for (std::size_t c = 0; c < channels; ++c) {
        QorMP3PsychoInfo &first = psy[c], &second = psy[channels + c];
        const QorMP3PsychoState &now = before[c + firstState], &next = after[c + firstState];
        std::copy(std::begin(first.ratio), std::end(first.ratio), second.ratio);
        std::copy(std::begin(now.ratioLong), std::end(now.ratioLong), first.ratio);
        // For a granule that the model sees as short the record holds the ratios of short blocks.
        // Its long ones are lost: the stricter of its neighbours' stand in.
        if (side[channels + c].block_type == 2)
            for (int b = 0; b < 21; ++b)
                second.ratio[b] = std::min(now.ratioLong[b], next.ratioLong[b]);
    }
}

// PCM to lines: polyphase filter bank, MDCT, mid/side.
void Mp3Encoder::transform(Frame& frame) {
    std::array<Qor32s, kLines> subbands;
    for (int granule = 0; granule < kGranules; ++granule) {
        for (int c = 0; c < channels_; ++c) {
            for (int slot = 0; slot < 18; ++slot)
                qorsAnalysisPQMF_MP3_16s32s(
                    pcm_.data() + 32 * (18 * granule + slot) * channels_ + c,
                    subbands.data() + 32 * slot, channels_);
            Qor32s* lines = frame.lines.data() + (granule * channels_ + c) * kLines;
            qorsMDCTFwd_MP3_32s(subbands.data(), lines, 0, 0, &frame.header,
                                overlap_[static_cast<std::size_t>(c)].data());
        }
        if (channels_ == 2) {
            Qor32s* left = frame.lines.data() + granule * 2 * kLines;
            auto* positions =
                reinterpret_cast<Qor8u*>(frame.scaleFactors.data()) + (granule * 2 + 1) * 40;
            qorsJointStereoEncode_MP3_32s_I(left, left + kLines, positions, &frame.header,
                                            &frame.side[static_cast<std::size_t>(granule * 2)],
                                            frame.isBound.data() + 3 * granule);
        }
    }
}

// --- one frame's bits -------------------------------------------------------------------------

// Quantizes and packs the main data; false when the result cannot be written.
bool Mp3Encoder::quantize(Frame& frame, int meanBits, std::vector<std::uint8_t>& mainData) {
    std::array<Qor32s, 8> scfsi{};
    qorsQuantize_MP3_32s_I(frame.lines.data(), frame.scaleFactors.data(), scfsi.data(),
                           frame.count1Len.data(), frame.hufBits.data(), &frame.header,
                           frame.side.data(), frame.psy.data(), state_.data(), &frame.reservoir,
                           meanBits, frame.isBound.data(), quantizerScratch_.data());
    for (std::size_t i = 0; i < static_cast<std::size_t>(records()); ++i) {
        const QorMP3SideInfo& side = frame.side[i];
        // The scale factors may lift the length above its 12 bits, and a search at its limit may
        // leave the range of the gain.
        if (side.part2_3_length < 0 || side.part2_3_length > kMaxPartBits) return false;
        if (side.global_gain < 0 || side.global_gain > 255) return false;
    }
    return packMainData(frame, mainData);
}

bool Mp3Encoder::packMainData(Frame& frame, std::vector<std::uint8_t>& mainData) {
    mainData.assign(kMaxMainData, 0);
    const std::array<Qor32s, 4> scfsi{};
    Qor8u* stream = mainData.data();
    Qor32s offset = 0;
    const auto position = [&] { return 8 * (stream - mainData.data()) + offset; };
    for (int i = 0; i < records(); ++i) {
        const auto r = static_cast<std::size_t>(i);
        QorMP3SideInfo& side = frame.side[r];
        const auto start = position();
        qorsPackScaleFactors_MP3_8s1u(frame.scaleFactors.data() + 40 * i, &stream, &offset,
                                      &frame.header, &side, scfsi.data(), i / channels_,
                                      i % channels_);
        qorsHuffmanEncode_MP3_32s1u(frame.lines.data() + kLines * i, &stream, &offset,
                                    &frame.header, &side, frame.count1Len[r], frame.hufBits[r]);
        // The search may report a count that it could not reach.
        if (position() - start != side.part2_3_length) return false;
    }
    mainData.resize(static_cast<std::size_t>((position() + 7) / 8));
    return true;
}

std::vector<std::uint8_t> Mp3Encoder::packHead(const Frame& frame, int mainDataBegin) const {
    const std::array<Qor32s, 8> scfsi{};
    std::vector<std::uint8_t> head(static_cast<std::size_t>(headBytes()) + 1);
    const QorMP3FrameHeader& header = frame.header;
    Qor8u* stream = head.data();
    qorsPackFrameHeader_MP3(&header, &stream);
    qorsPackSideInfo_MP3(frame.side.data(), &stream, mainDataBegin, 0, scfsi.data(), &header);
    head.pop_back();  // the byte that the writers may touch
    if (header.protection_bit == 0) {
        const std::uint16_t crc = mp3Crc(head, header);
        head[4] = static_cast<std::uint8_t>(crc >> 8);
        head[5] = static_cast<std::uint8_t>(crc);
    }
    return head;
}

// Hands out the frames whose room the main data fill.
void Mp3Encoder::emit(std::vector<std::uint8_t>& stream) {
    std::size_t taken = 0;
    while (!pending_.empty() && mainData_.size() - taken >= pending_.front().room) {
        const PendingFrame& frame = pending_.front();
        stream.insert(stream.end(), frame.head.begin(), frame.head.end());
        const auto from = mainData_.begin() + static_cast<std::ptrdiff_t>(taken);
        stream.insert(stream.end(), from, from + static_cast<std::ptrdiff_t>(frame.room));
        taken += frame.room;
        pending_.pop_front();
    }
    mainData_.erase(mainData_.begin(), mainData_.begin() + static_cast<std::ptrdiff_t>(taken));
}
