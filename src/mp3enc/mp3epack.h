// Private steps of the Layer III packers.
#pragma once

#include "qorac.h"

namespace qorac {

// Pairs of signed values with table `table`; returns the bits written. Table 0 and an empty run
// write nothing.
int ownHuffmanEncodePairs_MP3(const Qor32s* pSrc, int len, Qor8u** ppBitStream, Qor32s* pOffset,
                              int table);

// Quadruples of values of magnitude 0 or 1 with table 32 + select; returns the bits written.
int ownHuffmanEncodeQuads_MP3(const Qor32s* pSrc, int len, Qor8u** ppBitStream, Qor32s* pOffset,
                              int select);

// n one bits; nothing for n <= 0.
void ownPutStuffingBits(Qor8u** ppBitStream, Qor32s* pOffset, int n);

}  // namespace qorac
