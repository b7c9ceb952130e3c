#include "outputfile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace {

// The name of the file in the making, for the signal handler.
std::array<char, 4096> unfinishedFile{};

extern "C" void removeUnfinishedOutput(int signal) {
    if (unfinishedFile[0] != '\0') unlink(unfinishedFile.data());
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

bool isSpecialFile(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode) && !S_ISDIR(info.st_mode);
}

// The file that links lead to; `path` itself where nothing stands yet.
std::string behindLinks(const std::string& path) {
    char* const real = realpath(path.c_str(), nullptr);
    std::string target = real != nullptr ? real : path;
    std::free(real);
    return target;
}

}  // namespace

bool OutputFile::isStandardOutput(const std::string& path) {
    return path == "-" || path == "/dev/stdout";
}

OutputFile::OutputFile(const std::string& path)
    : path_(isStandardOutput(path) ? "standard output" : path), target_(behindLinks(path)) {
    if (isStandardOutput(path)) {
        file_ = stdout;
    } else if (isSpecialFile(path)) {
        file_ = std::fopen(path.c_str(), "wb");
    } else {
        temporary_ = target_ + ".part-XXXXXX";
        const int fd = mkstemp(temporary_.data());
        if (fd < 0) {
            temporary_.clear();
            fail();
        }
        if (temporary_.size() < unfinishedFile.size()) {
            std::memcpy(unfinishedFile.data(), temporary_.c_str(), temporary_.size() + 1);
            for (const int signal : {SIGINT, SIGTERM, SIGHUP})
                std::signal(signal, removeUnfinishedOutput);
        }
        file_ = fdopen(fd, "wb");
    }
    if (file_ == nullptr) fail();
}

OutputFile::~OutputFile() {
    if (file_ != nullptr && file_ != stdout) std::fclose(file_);
    if (!temporary_.empty()) unlink(temporary_.c_str());
    unfinishedFile[0] = '\0';
}

void OutputFile::write(std::span<const std::uint8_t> bytes) {
    if (bytes.empty()) return;
    errno = 0;
    if (std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size()) fail();
}

void OutputFile::rewrite(long position, std::span<const std::uint8_t> bytes) {
    errno = 0;
    if (std::fseek(file_, position, SEEK_SET) != 0) fail();
    write(bytes);
}

void OutputFile::finish() {
    errno = 0;
    if (std::fflush(file_) != 0) fail();
    if (temporary_.empty()) return;
    const mode_t mask = umask(0);
    umask(mask);
    if (fchmod(fileno(file_), 0666 & ~mask) != 0 || fsync(fileno(file_)) != 0) fail();
    if (std::fclose(std::exchange(file_, nullptr)) != 0) fail();
    if (std::rename(temporary_.c_str(), target_.c_str()) != 0) fail();
    temporary_.clear();
    unfinishedFile[0] = '\0';
}

void OutputFile::fail() const {
    const char* const reason = errno != 0 ? std::strerror(errno) : "the disk may be full";
    throw std::runtime_error("cannot write " + path_ + ": " + reason);
}
