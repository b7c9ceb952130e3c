// Decoding, encoding and counting of one block of pairs, for code books of both standards. The rows
// named TwoLevel decode the same bits with a reader of the plain kind that general decoders use: a
// big-endian word fetched in front of each code, a table of (symbol, length) pairs of 16 bits with
// a second level for longer codes, the values of a symbol from a table of their own.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "vlc/specs.h"

namespace {

using namespace qorac::test;
using qorac::reference::BitWriter;

// Which book a benchmark's argument means: AAC 1 to 11 as they are, MP3 tables from 101 on.
Book bookOf(int argument) { return argument > 100 ? mp3Book(argument - 100) : aacBook(argument); }

constexpr int kPairs = 512;

// Pairs as probable as their codes say, and one escape in so many of the marks that bits allow.
std::vector<Qor16s> likelyBlock(const Book& book, Random& random) {
    std::vector<double> weights;
    for (const Symbol& symbol : book.symbols) weights.push_back(std::ldexp(1.0, -symbol.length));
    std::mt19937 engine(7);
    std::discrete_distribution<int> choose(weights.begin(), weights.end());
    std::vector<Qor16s> values;
    for (int i = 0; i < kPairs; ++i) {
        const Symbol& symbol = book.symbols[std::size_t(choose(engine))];
        for (const int value : {symbol.x, symbol.y}) {
            int v = value;
            if (book.escape != 0 && v == book.escape)
                v += int(random.integer(0, book.standard == Standard::aac
                                               ? 100
                                               : (1 << std::min(book.linbits, 6)) - 1));
            values.push_back(Qor16s(!book.hasSigns && random.chance(0.5) ? -v : v));
        }
    }
    return values;
}

struct Block {
    explicit Block(int argument) : book(bookOf(argument)) {
        Random random(1);
        values = likelyBlock(book, random);
        BitWriter writer;
        putBlock(writer, book, values);
        stream = writer.bytes(16);
        bits = writer.bits();
        decoded.resize(values.size());
    }

    Book book;
    std::vector<Qor16s> values;
    std::vector<Qor16s> decoded;
    std::vector<Qor8u> stream;
    std::size_t bits;
};

void finish(benchmark::State& state, Block& block) {
    if (block.decoded != block.values) state.SkipWithError("wrong values");
    state.counters["pair"] = benchmark::Counter(
        kPairs * double(state.iterations()),
        benchmark::Counter::Flags(benchmark::Counter::kIsRate | benchmark::Counter::kInvert));
}

// --- decoding ---------------------------------------------------------------------------------

void decode(benchmark::State& state, bool isTuple, const TableForm& form) {
    Block block(int(state.range(0)));
    const DecodeSpec spec(isTuple ? block.book : withSigns(block.book), form);
    const Qor32s len = Qor32s(block.values.size());
    for (auto _ : state) {
        Qor8u* p = block.stream.data();
        Qor32s offset = 0;
        if (block.book.standard == Standard::aac)
            (isTuple ? qorsVLCDecodeUTupleEscBlock_AAC_1u16s : qorsVLCDecodeEscBlock_AAC_1u16s)(
                &p, &offset, block.decoded.data(), len, spec.pointer());
        else
            (isTuple ? qorsVLCDecodeUTupleEscBlock_MP3_1u16s : qorsVLCDecodeEscBlock_MP3_1u16s)(
                &p, &offset, block.book.linbits, block.decoded.data(), len, spec.pointer());
        benchmark::DoNotOptimize(p);
        benchmark::ClobberMemory();
    }
    finish(state, block);
}

void Tuple(benchmark::State& state) { decode(state, true, {32, 4, {8, 12}, 5, 10}); }
void Tuple16(benchmark::State& state) { decode(state, true, {16, 4, {8, 12}, 5, 10}); }
void Signed(benchmark::State& state) { decode(state, false, {32, 4, {9, 14}}); }

// --- the plain reader -------------------------------------------------------------------------

struct PlainReader {
    const Qor8u* bytes;
    unsigned index;
    Qor32u cache;

    void update() {
        Qor32u word;
        __builtin_memcpy(&word, bytes + (index >> 3), 4);
        cache = __builtin_bswap32(word) << (index & 7);
    }
    Qor32u show(int n) const { return cache >> (32 - n); }
    void skip(int n) {
        cache <<= n;
        index += unsigned(n);
    }
};

constexpr int kPlainBits = 8;

class PlainTable {
  public:
    explicit PlainTable(const Book& book) : isAac_(book.standard == Standard::aac) {
        addLevel(book, 0, 0);
        for (const Symbol& symbol : book.symbols)
            values_.push_back({Qor8u(symbol.x), Qor8u(symbol.y)});
    }

    void decode(PlainReader& reader, const Book& book, Qor16s* pDst, int pairs) const {
        for (int i = 0; i < pairs; ++i, pDst += 2) {
            reader.update();
            const Entry* entry = &table_[reader.show(kPlainBits)];
            if (entry->length < 0) {
                reader.skip(kPlainBits);
                entry = &table_[std::size_t(entry->symbol) + reader.show(-entry->length)];
            }
            reader.skip(entry->length);
            const Qor8u* value = values_[std::size_t(entry->symbol)].data();
            if (isAac_)
                takeAac(reader, value, pDst);
            else
                takeMp3(reader, value, book.linbits, pDst);
        }
    }

  private:
    struct Entry {
        Qor16s symbol, length;
    };

    std::size_t addLevel(const Book& book, Qor32u prefix, int before) {
        int width = 0;
        for (const Symbol& symbol : book.symbols)
            if (before == 0 ||
                (symbol.length > before && symbol.word >> (symbol.length - before) == prefix))
                width = std::max(width, symbol.length - before);
        if (before == 0) width = kPlainBits;
        const std::size_t base = table_.size();
        table_.resize(base + (std::size_t{1} << width));
        for (Qor32u i = 0; i < 1u << width; ++i)
            for (std::size_t s = 0; s < book.symbols.size(); ++s) {
                const Symbol& symbol = book.symbols[s];
                const Qor32u code = prefix << width | i;
                const int total = before + width;
                if (symbol.length > before && symbol.length <= total &&
                    code >> (total - symbol.length) == symbol.word)
                    table_[base + i] = {Qor16s(s), Qor16s(symbol.length - before)};
                else if (before == 0 && symbol.length > total &&
                         symbol.word >> (symbol.length - total) == code && table_[i].length == 0) {
                    const std::size_t next = addLevel(book, code, total);
                    int bits = 0;
                    while (next + (std::size_t{1} << bits) < table_.size()) ++bits;
                    table_[i] = {Qor16s(next), Qor16s(-bits)};
                }
            }
        return base;
    }

    static void takeAac(PlainReader& reader, const Qor8u* value, Qor16s* pDst) {
        bool negative[2];
        for (int k = 0; k < 2; ++k) {
            negative[k] = value[k] != 0 && (reader.cache >> 31) != 0;
            if (value[k] != 0) reader.skip(1);
        }
        for (int k = 0; k < 2; ++k) {
            int v = value[k];
            if (v == 16) {
                reader.update();
                const int ones = __builtin_clz(~reader.cache);
                reader.skip(ones + 1);
                v = int(1u << (ones + 4) | reader.show(ones + 4));
                reader.skip(ones + 4);
            }
            pDst[k] = Qor16s(negative[k] ? -v : v);
        }
    }

    static void takeMp3(PlainReader& reader, const Qor8u* value, int linbits, Qor16s* pDst) {
        for (int k = 0; k < 2; ++k) {
            int v = value[k];
            if (v == 15 && linbits != 0) {
                reader.update();
                v += int(reader.show(linbits));
                reader.skip(linbits);
            }
            if (v != 0) {
                if ((reader.cache >> 31) != 0) v = -v;
                reader.skip(1);
            }
            pDst[k] = Qor16s(v);
        }
    }

    bool isAac_;
    std::vector<Entry> table_;
    std::vector<std::array<Qor8u, 2>> values_;
};

void TwoLevel(benchmark::State& state) {
    Block block(int(state.range(0)));
    const PlainTable table(block.book);
    for (auto _ : state) {
        PlainReader reader{block.stream.data(), 0, 0};
        table.decode(reader, block.book, block.decoded.data(), kPairs);
        benchmark::DoNotOptimize(reader.index);
        benchmark::ClobberMemory();
    }
    finish(state, block);
}

// --- encoding and counting --------------------------------------------------------------------

void Encode(benchmark::State& state) {
    Block block(int(state.range(0)));
    const EncodeSpec spec(block.book);
    const std::vector<Qor8u> expected = block.stream;
    const Qor32s len = Qor32s(block.values.size());
    for (auto _ : state) {
        Qor8u* p = block.stream.data();
        Qor32s offset = 0;
        if (block.book.standard == Standard::aac)
            qorsVLCEncodeEscBlock_AAC_16s1u(block.values.data(), len, &p, &offset, spec.pointer());
        else
            qorsVLCEncodeEscBlock_MP3_16s1u(block.values.data(), len, block.book.linbits, &p,
                                            &offset, spec.pointer());
        benchmark::ClobberMemory();
    }
    if (block.stream == expected) block.decoded = block.values;
    finish(state, block);
}

void Count(benchmark::State& state) {
    Block block(int(state.range(0)));
    const EncodeSpec spec(block.book);
    const Qor32s len = Qor32s(block.values.size());
    Qor32s bits = 0;
    for (auto _ : state) {
        if (block.book.standard == Standard::aac)
            qorsVLCCountEscBits_AAC_16s32s(block.values.data(), len, &bits, spec.pointer());
        else
            qorsVLCCountEscBits_MP3_16s32s(block.values.data(), len, block.book.linbits, &bits,
                                           spec.pointer());
        benchmark::DoNotOptimize(bits);
    }
    if (std::size_t(bits) == block.bits) block.decoded = block.values;
    finish(state, block);
}

// AAC 7, 9, 11; MP3 tables 7, 15, 24.
void unsignedBooks(benchmark::internal::Benchmark* bench) {
    for (const int book : {7, 9, 11, 107, 115, 124}) bench->Arg(book);
}

BENCHMARK(Tuple)->Apply(unsignedBooks);
BENCHMARK(Tuple16)->Apply(unsignedBooks);
BENCHMARK(Signed)->Apply(unsignedBooks);
BENCHMARK(TwoLevel)->Apply(unsignedBooks);
BENCHMARK(Encode)->Apply(unsignedBooks);
BENCHMARK(Count)->Apply(unsignedBooks);

}  // namespace
