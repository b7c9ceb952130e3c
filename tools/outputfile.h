// A file that is made beside its final place and moved there when it is whole; for a pipe or a
// device, a plain stream.
#pragma once

#include <cstdint>
#include <cstdio>
#include <span>
#include <string>

class OutputFile {
  public:
    // `path` is "-" or "/dev/stdout" for standard output. What a link leads to is replaced, not the
    // link. All functions throw std::runtime_error with a message when
    // the data cannot be written. A file that is destroyed without finish() leaves nothing behind.
    explicit OutputFile(const std::string& path);
    static bool isStandardOutput(const std::string& path);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    bool canRewrite() const { return !temporary_.empty(); }
    void write(std::span<const std::uint8_t> bytes);
    // Replaces bytes that were written before.
    void rewrite(long position, std::span<const std::uint8_t> bytes);
    void finish();

    // For a library that writes by itself: the file to write to, and the report of a failure.
    int descriptor() const { return fileno(file_); }
    [[noreturn]] void fail() const;

  private:
    std::string path_;
    std::string target_;  // the file itself, behind links
    std::string temporary_;
    std::FILE* file_ = nullptr;
};
