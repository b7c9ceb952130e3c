// Arithmetic of MPEG audio Layer III frames that belongs to the caller of the library: frame
// lengths, positions inside a frame, the CRC word, and the band boundaries that a caller needs.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "qorac.h"

// Whether four bytes can be the header of a Layer III frame of MPEG-1 or MPEG-2 LSF.
bool mp3HeaderPlausible(std::span<const std::uint8_t> bytes);

// The header's fields; `bytes` holds at least 4, and what it lacks of a CRC word counts as 0.
QorMP3FrameHeader mp3ReadHeader(std::span<const std::uint8_t> bytes);

int mp3SampleRate(const QorMP3FrameHeader& header);
int mp3Channels(const QorMP3FrameHeader& header);
int mp3SamplesPerChannel(const QorMP3FrameHeader& header);

// In kbit/s; 0 for free format.
int mp3BitRate(const QorMP3FrameHeader& header);

// Bytes of the whole frame; 0 for free format.
std::size_t mp3FrameSize(const QorMP3FrameHeader& header);

// Bytes of header, CRC word and side information.
std::size_t mp3HeadSize(const QorMP3FrameHeader& header);

// CRC word of a frame's header and side information (ISO 11172-3 clause 2.4.3.1); the frame has
// room for one and holds all of the side information.
std::uint16_t mp3Crc(std::span<const std::uint8_t> frame, const QorMP3FrameHeader& header);

// Whether the CRC word of a frame, if it has one, is right.
bool mp3CrcMatches(std::span<const std::uint8_t> frame, const QorMP3FrameHeader& header);

// First line of long band 20, and of short bands 11 and 12 in one window: the highest bands and
// those below them.
int mp3LongBand20(const QorMP3FrameHeader& header);
int mp3ShortBand11(const QorMP3FrameHeader& header);
int mp3ShortBand12(const QorMP3FrameHeader& header);
