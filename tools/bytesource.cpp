#include "bytesource.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

void ByteSource::Close::operator()(std::FILE* file) const {
    if (file != stdin) std::fclose(file);
}

ByteSource::ByteSource(const std::string& path) : path_(path == "-" ? "standard input" : path) {
    file_.reset(path == "-" ? stdin : std::fopen(path.c_str(), "rb"));
    if (!file_) throw std::runtime_error("cannot open " + path + ": " + std::strerror(errno));
    struct stat info;
    if (fstat(fileno(file_.get()), &info) != 0) return;
    if (S_ISDIR(info.st_mode)) throw std::runtime_error(path + " is a folder");
    if (S_ISREG(info.st_mode)) size_ = static_cast<std::uint64_t>(info.st_size);
}

ByteSource::ByteSource(std::vector<std::uint8_t> bytes)
    : window_(std::move(bytes)), size_(window_.size()) {}

std::span<const std::uint8_t> ByteSource::look(std::size_t count) {
    if (window_.size() - begin_ < count && file_) {
        constexpr std::size_t kBlock = 65536;
        window_.erase(window_.begin(), window_.begin() + static_cast<std::ptrdiff_t>(begin_));
        begin_ = 0;
        while (window_.size() < count && !std::feof(file_.get())) {
            const std::size_t old = window_.size();
            window_.resize(old + std::max(kBlock, count - old));
            const std::size_t got =
                std::fread(window_.data() + old, 1, window_.size() - old, file_.get());
            window_.resize(old + got);
            if (std::ferror(file_.get()))
                throw std::runtime_error("cannot read " + path_ + ": " + std::strerror(errno));
        }
    }
    return std::span<const std::uint8_t>(window_).subspan(begin_,
                                                          std::min(count, window_.size() - begin_));
}

void ByteSource::skip(std::size_t count) {
    begin_ += count;
    position_ += count;
}

void ByteSource::skipFar(std::uint64_t count) {
    while (count > 0) {
        const std::size_t step = look(std::min<std::uint64_t>(count, 65536)).size();
        if (step == 0) return;
        skip(step);
        count -= step;
    }
}
