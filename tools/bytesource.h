// A stream of bytes with a window that can be looked at: files, pipes and memory alike.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <vector>

class ByteSource {
  public:
    // Opens a file, or standard input for "-". Throws std::runtime_error with a message.
    explicit ByteSource(const std::string& path);
    // Takes bytes from memory.
    explicit ByteSource(std::vector<std::uint8_t> bytes);

    // The next `count` bytes, or fewer at the end of the stream. Valid until the next call.
    std::span<const std::uint8_t> look(std::size_t count);
    // Moves on by `count` bytes, at most those that the last look() showed.
    void skip(std::size_t count);
    // Moves on by `count` bytes, or to the end.
    void skipFar(std::uint64_t count);

    std::uint64_t position() const { return position_; }
    // Size of the whole stream in bytes, 0 where it is not known.
    std::uint64_t size() const { return size_; }

  private:
    struct Close {
        void operator()(std::FILE* file) const;
    };
    std::unique_ptr<std::FILE, Close> file_;
    std::string path_;
    std::vector<std::uint8_t> window_;
    std::size_t begin_ = 0;
    std::uint64_t position_ = 0;
    std::uint64_t size_ = 0;
};
