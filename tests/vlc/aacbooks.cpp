#include "aac/aachufftbl.h"
#include "vlc/books.h"

namespace qorac::test {
namespace {

// A symbol's index is x * count + y, the values counted from `lowest`.
template <std::size_t size>
Book makeBook(const HuffmanCode (&codes)[size], int count, int lowest, int escape) {
    Book book{Standard::aac, lowest < 0, escape, 0, {}};
    for (int i = 0; i < count * count; ++i)
        book.symbols.push_back(
            {i / count + lowest, i % count + lowest, codes[i].word, codes[i].length});
    return book;
}

}  // namespace

Book aacBook(int number) {
    switch (number) {
        case 1:
            return makeBook(kSpectrumCodes1, 9, -4, 0);
        case 2:
            return makeBook(kSpectrumCodes2, 9, -4, 0);
        case 3:
            return makeBook(kSpectrumCodes3, 9, 0, 0);
        case 4:
            return makeBook(kSpectrumCodes4, 9, 0, 0);
        case 5:
            return makeBook(kSpectrumCodes5, 9, -4, 0);
        case 6:
            return makeBook(kSpectrumCodes6, 9, -4, 0);
        case 7:
            return makeBook(kSpectrumCodes7, 8, 0, 0);
        case 8:
            return makeBook(kSpectrumCodes8, 8, 0, 0);
        case 9:
            return makeBook(kSpectrumCodes9, 13, 0, 0);
        case 10:
            return makeBook(kSpectrumCodes10, 13, 0, 0);
        default:
            return makeBook(kSpectrumCodes11, 17, 0, 16);
    }
}

}  // namespace qorac::test
