// The standards' code books as lists of pairs, and the bits of a coded pair.
#pragma once

#include <cstdlib>
#include <vector>

#include "qorac.h"
#include "reference/bitwriter.h"
#include "support/random.h"

namespace qorac::test {

struct Symbol {
    int x, y;
    Qor32u word;
    int length;
};

enum class Standard { aac, mp3 };

struct Book {
    Standard standard;
    bool hasSigns;  // the symbols do; otherwise signs follow the code word
    int escape;     // the magnitude that marks an escape, 0: none
    int linbits;
    std::vector<Symbol> symbols;

    int largest() const {
        int value = 0;
        for (const Symbol& symbol : symbols) value = std::max(value, symbol.x);
        return value;
    }
};

// Books 1 to 11 of ISO/IEC 13818-7; a quadruple of 1 to 4 stands as a pair of two digits each.
Book aacBook(int number);
// Tables 1 to 31 of ISO 11172-3 that have codes.
Book mp3Book(int table);

inline std::vector<Book> allBooks(Standard standard) {
    std::vector<Book> books;
    if (standard == Standard::aac)
        for (int number = 1; number <= 11; ++number) books.push_back(aacBook(number));
    else
        for (int table = 1; table <= 31; ++table)
            if (table != 4 && table != 14) books.push_back(mp3Book(table));
    return books;
}

// The same book with the signs of a pair as part of its code: of x, then of y.
inline Book withSigns(const Book& book) {
    if (book.hasSigns) return book;
    Book all = book;
    all.hasSigns = true;
    all.symbols.clear();
    for (const Symbol& symbol : book.symbols)
        for (int signX = 0; signX <= (symbol.x != 0); ++signX)
            for (int signY = 0; signY <= (symbol.y != 0); ++signY) {
                Symbol s{signX ? -symbol.x : symbol.x, signY ? -symbol.y : symbol.y, symbol.word,
                         symbol.length};
                if (s.x != 0) s.word = s.word << 1 | Qor32u(signX), ++s.length;
                if (s.y != 0) s.word = s.word << 1 | Qor32u(signY), ++s.length;
                all.symbols.push_back(s);
            }
    return all;
}

// Every symbol of the book with random signs and escapes, and `more` random ones, shuffled.
inline std::vector<Qor16s> randomBlock(const Book& book, Random& random, int more) {
    std::vector<Symbol> symbols = book.symbols;
    for (int i = 0; i < more; ++i)
        symbols.push_back(symbols[std::size_t(random.integer(0, int(book.symbols.size()) - 1))]);
    for (std::size_t i = symbols.size(); i > 1; --i)
        std::swap(symbols[i - 1], symbols[std::size_t(random.integer(0, int(i) - 1))]);
    std::vector<Qor16s> values;
    for (const Symbol& symbol : symbols)
        for (const int value : {symbol.x, symbol.y}) {
            int v = value;
            if (book.escape != 0 && v == book.escape) {
                const int bits = book.standard == Standard::aac
                                     ? int(random.integer(4, 12))
                                     : int(random.integer(0, book.linbits));
                v = book.standard == Standard::aac ? int(random.integer(1 << bits, (2 << bits) - 1))
                                                   : 15 + int(random.integer(0, (1 << bits) - 1));
            }
            values.push_back(Qor16s(!book.hasSigns && random.chance(0.5) ? -v : v));
        }
    return values;
}

// The bits of one pair by the standard's syntax.
inline void putPair(reference::BitWriter& out, const Book& book, int x, int y) {
    const auto clamped = [&](int v) {
        const int magnitude = std::abs(v);
        const int symbol = book.escape != 0 ? std::min(magnitude, book.escape) : magnitude;
        return book.hasSigns && v < 0 ? -symbol : symbol;
    };
    for (const Symbol& symbol : book.symbols)
        if (symbol.x == clamped(x) && symbol.y == clamped(y)) out.put(symbol.word, symbol.length);
    const bool isMp3 = book.standard == Standard::mp3;
    for (const int v : {x, y}) {
        if (isMp3 && std::abs(v) >= 15) out.put(Qor32u(std::abs(v) - 15), book.linbits);
        if (!book.hasSigns && v != 0) out.put(v < 0, 1);
    }
    for (const int v : {x, y}) {
        if (isMp3 || book.escape == 0 || std::abs(v) < 16) continue;
        int width = 4;
        for (; std::abs(v) >> (width + 1) != 0; ++width) out.put(1, 1);
        out.put(0, 1);
        out.put(Qor32u(std::abs(v)) - (1u << width), width);
    }
}

inline void putBlock(reference::BitWriter& out, const Book& book,
                     const std::vector<Qor16s>& values) {
    for (std::size_t i = 0; i + 1 < values.size(); i += 2)
        putPair(out, book, values[i], values[i + 1]);
}

}  // namespace qorac::test
