// Writes 16-bit PCM as WAV: to a file, which appears under its name only when it is whole, or as a
// stream to standard output.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

class WavWriter {
  public:
    virtual ~WavWriter() = default;

    // Both throw std::runtime_error with a message when the data cannot be written.
    virtual void write(std::span<const std::int16_t> interleaved) = 0;
    virtual void finish() = 0;

    // `path` is "-" for standard output. A writer that is destroyed without finish() leaves nothing
    // behind.
    static std::unique_ptr<WavWriter> open(const std::string& path, int sampleRate, int channels);
};
