#include "audiosource.h"

#include <iconv.h>
#include <samplerate.h>
#include <sndfile.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

namespace {

constexpr std::size_t kBlock = 4096;  // samples per channel that are read at a time

std::int16_t toSixteenBits(float sample) {
    return static_cast<std::int16_t>(
        std::lrint(std::clamp(sample * 32768.0f, -32768.0f, 32767.0f)));
}

// `text` in UTF-8; nothing when it is not text in `encoding`.
std::optional<std::string> convert(std::string text, const char* encoding) {
    const iconv_t converter = iconv_open("UTF-8", encoding);
    std::string converted(2 * text.size(), '\0');
    char* from = text.data();
    char* to = converted.data();
    std::size_t left = text.size(), room = converted.size();
    const bool done = iconv(converter, &from, &left, &to, &room) != static_cast<std::size_t>(-1);
    iconv_close(converter);
    converted.resize(converted.size() - room);
    return done ? std::optional(converted) : std::nullopt;
}

// Files do not tell the encoding of their text fields. What is not UTF-8 is taken for Latin-1.
std::string toUtf8(const std::string& text) {
    if (const auto same = convert(text, "UTF-8")) return *same;
    return convert(text, "ISO-8859-1").value_or("");
}

// libsndfile's message without the kind of error in front and the full stop behind.
std::string reason(SNDFILE* file) {
    std::string text = sf_strerror(file);
    if (const auto kind = text.find(" : "); kind != std::string::npos) text.erase(0, kind + 3);
    if (text.ends_with('.')) text.pop_back();
    return text;
}

int bytesPerSample(int format) {
    switch (format & SF_FORMAT_SUBMASK) {
        case SF_FORMAT_PCM_16:
            return 2;
        case SF_FORMAT_PCM_24:
            return 3;
        case SF_FORMAT_PCM_32:
        case SF_FORMAT_FLOAT:
            return 4;
        case SF_FORMAT_DOUBLE:
            return 8;
        default:
            return 1;
    }
}

// A stream whose writer could not know its length declares the largest one, which is about 2^31 or
// 2^32 bytes in a WAV.
bool declaresLength(const SF_INFO& info) {
    constexpr sf_count_t kUnknown = sf_count_t{1} << 40, kLargest = 0x7FFF0000;
    if (info.frames <= 0 || info.frames >= kUnknown) return false;
    return info.seekable != 0 ||
           info.frames * info.channels * bytesPerSample(info.format) < kLargest;
}

}  // namespace

struct AudioSource::Reader {
    SNDFILE* file = nullptr;
    SRC_STATE* resampler = nullptr;
    double ratio = 1;
    int sourceChannels = 0;
    int channels = 0;
    bool atEnd = false;
    std::vector<float> block;
    std::vector<float> ready;  // at the rate of delivery, from `position` on
    std::size_t position = 0;

    ~Reader() {
        if (resampler != nullptr) src_delete(resampler);
        if (file != nullptr) sf_close(file);
    }

    // The next block in the channels of delivery.
    std::size_t readBlock() {
        block.resize(kBlock * static_cast<std::size_t>(sourceChannels));
        const auto got = sf_readf_float(file, block.data(), static_cast<sf_count_t>(kBlock));
        if (sf_error(file) != SF_ERR_NO_ERROR)
            throw std::runtime_error("cannot read the audio: " + reason(file));
        const auto frames = static_cast<std::size_t>(std::max<sf_count_t>(got, 0));
        if (sourceChannels == 2 && channels == 1) {
            for (std::size_t i = 0; i < frames; ++i)
                block[i] = (block[2 * i] + block[2 * i + 1]) * 0.5f;
        } else if (sourceChannels == 1 && channels == 2) {
            block.resize(2 * kBlock);
            for (std::size_t i = frames; i-- > 0;) block[2 * i] = block[2 * i + 1] = block[i];
        }
        for (std::size_t i = 0; i < frames * static_cast<std::size_t>(channels); ++i)
            if (!std::isfinite(block[i])) block[i] = 0;
        return frames;
    }

    void fill() {
        ready.erase(ready.begin(), ready.begin() + static_cast<std::ptrdiff_t>(position));
        position = 0;
        std::size_t frames = readBlock();
        atEnd = frames == 0;
        const auto nch = static_cast<std::size_t>(channels);
        if (resampler == nullptr) {
            ready.insert(ready.end(), block.begin(),
                         block.begin() + static_cast<std::ptrdiff_t>(frames * nch));
            return;
        }
        const float* in = block.data();
        for (;;) {
            const std::size_t room =
                static_cast<std::size_t>(static_cast<double>(frames) * ratio) + 256;
            const std::size_t old = ready.size();
            ready.resize(old + room * nch);
            SRC_DATA data{};
            data.data_in = in;
            data.input_frames = static_cast<long>(frames);
            data.data_out = ready.data() + old;
            data.output_frames = static_cast<long>(room);
            data.end_of_input = atEnd;
            data.src_ratio = ratio;
            if (src_process(resampler, &data) != 0) throw std::runtime_error("resampling failed");
            ready.resize(old + static_cast<std::size_t>(data.output_frames_gen) * nch);
            in += data.input_frames_used * channels;
            frames -= static_cast<std::size_t>(data.input_frames_used);
            if (data.output_frames_gen == 0 && (frames == 0 || data.input_frames_used == 0)) return;
            if (frames == 0 && !atEnd) return;
        }
    }
};

AudioSource::AudioSource(const std::string& path)
    : reader_(std::make_unique<Reader>()), name_(path == "-" ? "standard input" : path) {
    if (path != "-") {
        if (access(path.c_str(), R_OK) != 0)
            throw std::runtime_error("cannot open " + name_ + ": " + std::strerror(errno));
        if (std::filesystem::is_directory(path)) throw std::runtime_error(name_ + " is a folder");
    }
    SF_INFO info{};
    reader_->file = path == "-" ? sf_open_fd(STDIN_FILENO, SFM_READ, &info, SF_FALSE)
                                : sf_open(path.c_str(), SFM_READ, &info);
    if (reader_->file == nullptr)
        throw std::runtime_error("cannot read " + name_ + ": " + reason(nullptr));
    if (info.channels > 2)
        throw std::runtime_error(name_ + " has " + std::to_string(info.channels) +
                                 " channels; Layer III has one or two");
    // Integer formats that were clipped at 0x7FFF... map to just below 1.
    sf_command(reader_->file, SFC_SET_SCALE_FLOAT_INT_READ, nullptr, SF_FALSE);
    format_.sampleRate = info.samplerate;
    format_.channels = info.channels;
    if (declaresLength(info)) format_.samples = static_cast<std::uint64_t>(info.frames);
    SF_FORMAT_INFO major{};
    major.format = info.format & SF_FORMAT_TYPEMASK;
    sf_command(nullptr, SFC_GET_FORMAT_INFO, &major, sizeof major);
    format_.description = major.name != nullptr ? major.name : "audio";
    deliver(info.samplerate, info.channels);
}

AudioSource::~AudioSource() = default;

std::vector<std::pair<std::string, std::string>> AudioSource::textFields() const {
    constexpr std::pair<int, const char*> kFields[] = {
        {SF_STR_TITLE, "TIT2"},     {SF_STR_ARTIST, "TPE1"}, {SF_STR_ALBUM, "TALB"},
        {SF_STR_DATE, "TDRC"},      {SF_STR_GENRE, "TCON"},  {SF_STR_TRACKNUMBER, "TRCK"},
        {SF_STR_COPYRIGHT, "TCOP"}, {SF_STR_COMMENT, "COMM"}};
    std::vector<std::pair<std::string, std::string>> fields;
    for (const auto& [field, frame] : kFields) {
        const char* const text = sf_get_string(reader_->file, field);
        if (text != nullptr && *text != '\0') fields.emplace_back(frame, toUtf8(text));
    }
    return fields;
}

void AudioSource::deliver(int sampleRate, int channels) {
    reader_->sourceChannels = format_.channels;
    reader_->channels = channels;
    if (reader_->resampler != nullptr) src_delete(reader_->resampler);
    reader_->resampler = nullptr;
    reader_->ratio = static_cast<double>(sampleRate) / format_.sampleRate;
    if (sampleRate == format_.sampleRate) return;
    int error = 0;
    if (src_is_valid_ratio(reader_->ratio))
        reader_->resampler = src_new(SRC_SINC_MEDIUM_QUALITY, channels, &error);
    if (reader_->resampler == nullptr)
        throw std::runtime_error("a sampling rate of " + std::to_string(format_.sampleRate) +
                                 " Hz cannot be converted to " + std::to_string(sampleRate) +
                                 " Hz");
}

std::uint64_t AudioSource::declaredSamples() const {
    return static_cast<std::uint64_t>(
        std::llround(static_cast<double>(format_.samples) * reader_->ratio));
}

std::size_t AudioSource::read(std::vector<std::int16_t>& pcm, std::size_t samples) {
    const auto nch = static_cast<std::size_t>(reader_->channels);
    const std::size_t wanted = samples * nch;
    while (!reader_->atEnd && reader_->ready.size() - reader_->position < wanted) reader_->fill();
    const std::size_t count = std::min(wanted, reader_->ready.size() - reader_->position);
    for (std::size_t i = 0; i < count; ++i)
        pcm.push_back(toSixteenBits(reader_->ready[reader_->position + i]));
    reader_->position += count;
    return count / nch;
}
