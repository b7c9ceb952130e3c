#include "wavwriter.h"

#include <sndfile.h>

#include <cerrno>
#include <stdexcept>
#include <utility>
#include <vector>

#include "outputfile.h"

namespace {

// A WAV file, whose header libsndfile completes at the end.
class FileWriter : public WavWriter {
  public:
    FileWriter(std::unique_ptr<OutputFile> file, int sampleRate, int channels)
        : file_(std::move(file)) {
        SF_INFO info{};
        info.samplerate = sampleRate;
        info.channels = channels;
        info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
        sound_ = sf_open_fd(file_->descriptor(), SFM_WRITE, &info, SF_FALSE);
        if (sound_ == nullptr) throw std::runtime_error(sf_strerror(nullptr));
    }
    ~FileWriter() override {
        if (sound_ != nullptr) sf_close(sound_);
    }

    void write(std::span<const std::int16_t> interleaved) override {
        const auto count = static_cast<sf_count_t>(interleaved.size());
        errno = 0;
        if (sf_write_short(sound_, interleaved.data(), count) != count) file_->fail();
    }

    void finish() override {
        errno = 0;
        if (sf_close(std::exchange(sound_, nullptr)) != 0) file_->fail();
        file_->finish();
    }

  private:
    std::unique_ptr<OutputFile> file_;
    SNDFILE* sound_;
};

// WAV for a pipe or a device, where nothing can be mended at the end: the header tells the largest
// length, which readers take as "up to the end".
class StreamWriter : public WavWriter {
  public:
    StreamWriter(std::unique_ptr<OutputFile> file, int sampleRate, int channels)
        : file_(std::move(file)) {
        std::vector<std::uint8_t> header;
        const auto text = [&](const char* id) { header.insert(header.end(), id, id + 4); };
        const auto number = [&](unsigned value, int bytes) {
            for (int i = 0; i < bytes; ++i)
                header.push_back(static_cast<std::uint8_t>(value >> 8 * i));
        };
        const auto rate = static_cast<unsigned>(sampleRate);
        const auto width = 2u * static_cast<unsigned>(channels);
        text("RIFF"), number(0xFFFFFFFF, 4), text("WAVE");
        text("fmt "), number(16, 4), number(1, 2), number(width / 2, 2), number(rate, 4);
        number(rate * width, 4), number(width, 2), number(16, 2);
        text("data"), number(0xFFFFFFFF, 4);
        file_->write(header);
    }

    // The machine is little-endian, as WAV is.
    void write(std::span<const std::int16_t> interleaved) override {
        file_->write(
            {reinterpret_cast<const std::uint8_t*>(interleaved.data()), interleaved.size_bytes()});
    }

    void finish() override { file_->finish(); }

  private:
    std::unique_ptr<OutputFile> file_;
};

}  // namespace

std::unique_ptr<WavWriter> WavWriter::open(const std::string& path, int sampleRate, int channels) {
    auto file = std::make_unique<OutputFile>(path);
    if (file->canRewrite())
        return std::make_unique<FileWriter>(std::move(file), sampleRate, channels);
    return std::make_unique<StreamWriter>(std::move(file), sampleRate, channels);
}
