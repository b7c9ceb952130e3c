#include "mp3enc/mp3ehufftbl.h"

namespace qorac {

namespace {

constexpr HuffmanTable pairTable(int table, const HuffmanCode* pCode) {
    const int linbits = kHuffmanLinbits[table];
    return {kHuffmanAlphabet[table], linbits, linbits == 0 ? 0 : 1 << linbits, pCode};
}

constexpr HuffmanTable quadTable(const HuffmanCode* pCode) { return {4, 0, 0, pCode}; }

}  // namespace

constexpr HuffmanTable pHf_table[34] = {
    pairTable(0, nullptr),          pairTable(1, _pHuffmanCode1),   pairTable(2, _pHuffmanCode2),
    pairTable(3, _pHuffmanCode3),   pairTable(4, nullptr),          pairTable(5, _pHuffmanCode5),
    pairTable(6, _pHuffmanCode6),   pairTable(7, _pHuffmanCode7),   pairTable(8, _pHuffmanCode8),
    pairTable(9, _pHuffmanCode9),   pairTable(10, _pHuffmanCode10), pairTable(11, _pHuffmanCode11),
    pairTable(12, _pHuffmanCode12), pairTable(13, _pHuffmanCode13), pairTable(14, nullptr),
    pairTable(15, _pHuffmanCode15), pairTable(16, _pHuffmanCode16), pairTable(17, _pHuffmanCode16),
    pairTable(18, _pHuffmanCode16), pairTable(19, _pHuffmanCode16), pairTable(20, _pHuffmanCode16),
    pairTable(21, _pHuffmanCode16), pairTable(22, _pHuffmanCode16), pairTable(23, _pHuffmanCode16),
    pairTable(24, _pHuffmanCode24), pairTable(25, _pHuffmanCode24), pairTable(26, _pHuffmanCode24),
    pairTable(27, _pHuffmanCode24), pairTable(28, _pHuffmanCode24), pairTable(29, _pHuffmanCode24),
    pairTable(30, _pHuffmanCode24), pairTable(31, _pHuffmanCode24), quadTable(_pHuffmanCode32),
    quadTable(_pHuffmanCode33),
};

}  // namespace qorac
