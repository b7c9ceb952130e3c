#include "wavwriter.h"

#include <fcntl.h>
#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <utility>
#include <vector>

namespace {

[[noreturn]] void fail(const std::string& path, const std::string& reason) {
    throw std::runtime_error("cannot write " + path + ": " + reason);
}

// The name of the file in the making, for the signal handler.
std::array<char, 4096> unfinishedFile{};

extern "C" void removeUnfinishedFile(int signal) {
    if (unfinishedFile[0] != '\0') unlink(unfinishedFile.data());
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

// A file that is made beside its final place and moved there at the end.
class FileWriter : public WavWriter {
  public:
    FileWriter(std::string path, int sampleRate, int channels)
        : path_(std::move(path)), temporary_(path_ + ".part-XXXXXX") {
        fd_ = mkstemp(temporary_.data());
        if (fd_ < 0) fail(path_, std::strerror(errno));
        if (temporary_.size() < unfinishedFile.size()) {
            std::memcpy(unfinishedFile.data(), temporary_.c_str(), temporary_.size() + 1);
            for (const int signal : {SIGINT, SIGTERM, SIGHUP})
                std::signal(signal, removeUnfinishedFile);
        }
        SF_INFO info{};
        info.samplerate = sampleRate;
        info.channels = channels;
        info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
        file_ = sf_open_fd(fd_, SFM_WRITE, &info, SF_FALSE);
        if (file_ == nullptr) {
            discard();
            fail(path_, sf_strerror(nullptr));
        }
    }
    ~FileWriter() override { discard(); }

    void write(std::span<const std::int16_t> interleaved) override {
        const auto count = static_cast<sf_count_t>(interleaved.size());
        errno = 0;
        if (sf_write_short(file_, interleaved.data(), count) != count) failWithSystemError();
    }

    void finish() override {
        errno = 0;
        const int closed = sf_close(std::exchange(file_, nullptr));
        const mode_t mask = umask(0);
        umask(mask);
        if (closed != 0 || fchmod(fd_, 0666 & ~mask) != 0 || fsync(fd_) != 0 ||
            close(std::exchange(fd_, -1)) != 0 ||
            std::rename(temporary_.c_str(), path_.c_str()) != 0)
            failWithSystemError();
        temporary_.clear();
        unfinishedFile[0] = '\0';
    }

  private:
    [[noreturn]] void failWithSystemError() const {
        fail(path_, errno != 0 ? std::strerror(errno) : "the disk may be full");
    }

    void discard() {
        if (file_ != nullptr) sf_close(std::exchange(file_, nullptr));
        if (fd_ >= 0) close(std::exchange(fd_, -1));
        if (!temporary_.empty()) unlink(temporary_.c_str());
        unfinishedFile[0] = '\0';
    }

    std::string path_;
    std::string temporary_;
    int fd_ = -1;
    SNDFILE* file_ = nullptr;
};

// WAV for a pipe or a device, where nothing can be mended at the end: the header tells the largest
// length, which readers take as "up to the end".
class StreamWriter : public WavWriter {
  public:
    StreamWriter(std::string path, int sampleRate, int channels)
        : path_(std::move(path)), file_(path_ == "-" ? stdout : std::fopen(path_.c_str(), "wb")) {
        if (file_ == nullptr) fail(path_, std::strerror(errno));
        std::vector<std::uint8_t> header;
        const auto text = [&](const char* id) { header.insert(header.end(), id, id + 4); };
        const auto number = [&](unsigned value, int bytes) {
            for (int i = 0; i < bytes; ++i)
                header.push_back(static_cast<std::uint8_t>(value >> 8 * i));
        };
        const auto rate = static_cast<unsigned>(sampleRate),
                   width = 2u * static_cast<unsigned>(channels);
        text("RIFF"), number(0xFFFFFFFF, 4), text("WAVE");
        text("fmt "), number(16, 4), number(1, 2), number(width / 2, 2), number(rate, 4);
        number(rate * width, 4), number(width, 2), number(16, 2);
        text("data"), number(0xFFFFFFFF, 4);
        put(header.data(), header.size());
    }
    ~StreamWriter() override {
        if (file_ != nullptr && file_ != stdout) std::fclose(file_);
    }

    // The machine is little-endian, as WAV is.
    void write(std::span<const std::int16_t> interleaved) override {
        put(interleaved.data(), interleaved.size_bytes());
    }

    void finish() override {
        if (std::fflush(file_) != 0) fail(path_, std::strerror(errno));
    }

  private:
    void put(const void* data, std::size_t size) {
        if (std::fwrite(data, 1, size, file_) != size) fail(path_, std::strerror(errno));
    }

    std::string path_;
    std::FILE* file_;
};

bool isSpecialFile(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode);
}

}  // namespace

std::unique_ptr<WavWriter> WavWriter::open(const std::string& path, int sampleRate, int channels) {
    if (path == "-" || isSpecialFile(path))
        return std::make_unique<StreamWriter>(path, sampleRate, channels);
    return std::make_unique<FileWriter>(path, sampleRate, channels);
}
