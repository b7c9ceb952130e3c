#include "frame/mp3huffcodes.h"
#include "vlc/books.h"

namespace qorac::test {
namespace {

template <std::size_t size>
Book makeBook(const HuffmanCode (&codes)[size], int table) {
    const int count = kHuffmanAlphabet[table];
    Book book{Standard::mp3, false, count == 16 ? 15 : 0, kHuffmanLinbits[table], {}};
    for (int i = 0; i < count * count; ++i)
        book.symbols.push_back({i / count, i % count, codes[i].code, codes[i].length});
    return book;
}

}  // namespace

Book mp3Book(int table) {
    switch (table < 16 ? table : table < 24 ? 16 : 24) {
        case 1:
            return makeBook(_pHuffmanCode1, table);
        case 2:
            return makeBook(_pHuffmanCode2, table);
        case 3:
            return makeBook(_pHuffmanCode3, table);
        case 5:
            return makeBook(_pHuffmanCode5, table);
        case 6:
            return makeBook(_pHuffmanCode6, table);
        case 7:
            return makeBook(_pHuffmanCode7, table);
        case 8:
            return makeBook(_pHuffmanCode8, table);
        case 9:
            return makeBook(_pHuffmanCode9, table);
        case 10:
            return makeBook(_pHuffmanCode10, table);
        case 11:
            return makeBook(_pHuffmanCode11, table);
        case 12:
            return makeBook(_pHuffmanCode12, table);
        case 13:
            return makeBook(_pHuffmanCode13, table);
        case 15:
            return makeBook(_pHuffmanCode15, table);
        case 16:
            return makeBook(_pHuffmanCode16, table);
        default:
            return makeBook(_pHuffmanCode24, table);
    }
}

}  // namespace qorac::test
