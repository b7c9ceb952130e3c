// The specs of the VLC functions, built from code books.
#pragma once

#include <algorithm>
#include <map>
#include <vector>

#include "vlc/books.h"

namespace qorac::test {

// A record on a 32-byte boundary behind some room, and pointers into the room that mean it.
template <typename Spec>
class SpecMemory {
  public:
    Spec& record() { return *reinterpret_cast<Spec*>(memory_ + 32); }
    // 0 is the record itself; up to 31 bytes before it will do.
    const Spec* pointer(int before = 0) const {
        return reinterpret_cast<const Spec*>(memory_ + 32 - before);
    }

  private:
    alignas(32) Qor8u memory_[32 + sizeof(Spec)]{};
};

// Widths of a lookup table. The last level width stands for all further levels.
struct TableForm {
    int elementBits;
    int lengthBits;
    std::vector<int> levels;
    int tupleElementBits = 0;  // 0: signed leaves
    int tupleBits = 0;
};

class DecodeSpec {
  public:
    DecodeSpec(const Book& book, const TableForm& form) : form_(form) {
        addLevel(book.symbols, 0, 0);
        table16_.assign(table_.begin(), table_.end());
        int longest = 0;
        for (const Symbol& symbol : book.symbols) longest = std::max(longest, symbol.length);
        QorVLCDecodeSpec& spec = memory_.record();
        spec.id = 0x434D4160;
        spec.maxBits = std::max(longest, deepest_);
        spec.pTable = form.elementBits == 32 ? static_cast<const void*>(table_.data())
                                             : static_cast<const void*>(table16_.data());
        spec.elementBits = form.elementBits;
        spec.lengthBits = form.lengthBits;
        spec.tupleElementBits = form.tupleElementBits;
        spec.tupleBits = form.tupleBits;
        for (Qor32s* p : {&spec.reserved1, &spec.reserved3, &spec.reserved8, &spec.reserved11})
            *p = 0x5A5A5A5A;
    }
    DecodeSpec(const DecodeSpec&) = delete;
    DecodeSpec& operator=(const DecodeSpec&) = delete;

    const QorVLCDecodeSpec* pointer(int before = 0) const { return memory_.pointer(before); }
    QorVLCDecodeSpec& record() { return memory_.record(); }
    // A table of 16-bit elements loses nothing.
    bool fits() const { return form_.elementBits == 32 || fits_; }

  private:
    Qor32u leaf(const Symbol& symbol, int lastBits) {
        const int low = form_.lengthBits + 1;
        const Qor32u head = Qor32u(lastBits) << 1 | 1;
        if (form_.tupleElementBits == 0) {
            const Qor32u entry =
                head | Qor32u(symbol.y + 128) << low | Qor32u(symbol.x) << (low + 8);
            fits_ = fits_ && Qor32s(entry) == Qor16s(entry);
            return entry;
        }
        const int shiftX = low + form_.tupleBits - form_.tupleElementBits;
        const Qor32u entry = head | Qor32u(symbol.x) << shiftX |
                             Qor32u(symbol.y) << (shiftX - form_.tupleElementBits);
        fits_ = fits_ && entry == Qor16u(entry);
        return entry;
    }

    // The level of the symbols whose first `before` bits led here; gives the element of its header.
    std::size_t addLevel(const std::vector<Symbol>& symbols, std::size_t depth, int before) {
        int rest = 0;
        for (const Symbol& symbol : symbols) rest = std::max(rest, symbol.length - before);
        const int width = std::min(rest, form_.levels[std::min(depth, form_.levels.size() - 1)]);
        deepest_ = std::max(deepest_, before + width);
        const std::size_t header = table_.size();
        table_.resize(header + 1 + (std::size_t{1} << width));
        table_[header] = Qor32u(width);
        std::map<Qor32u, std::vector<Symbol>> longer;
        for (const Symbol& symbol : symbols) {
            const int left = symbol.length - before;
            const Qor32u bits = symbol.word & ((Qor32u{1} << left) - 1);
            if (left > width) {
                longer[bits >> (left - width)].push_back(symbol);
            } else {
                const auto first = table_.begin() + long(header + 1 + (bits << (width - left)));
                std::fill_n(first, 1 << (width - left), leaf(symbol, left));
            }
        }
        for (const auto& [bits, group] : longer) {
            const std::size_t next = addLevel(group, depth + 1, before + width);
            table_[header + 1 + bits] = Qor32u(next) << 1;
            fits_ = fits_ && next < 0x8000;
        }
        return header;
    }

    TableForm form_;
    std::vector<Qor32u> table_;
    std::vector<Qor16u> table16_;
    bool fits_ = true;
    int deepest_ = 0;
    SpecMemory<QorVLCDecodeSpec> memory_;
};

class EncodeSpec {
  public:
    explicit EncodeSpec(const Book& plain) {
        const Book book = withSigns(plain);
        const bool isAac = book.standard == Standard::aac;
        const int stride = isAac ? 64 : 32, middle = isAac ? 16 : 15, largest = book.largest();
        QorVLCEncodeSpec& spec = memory_.record();
        spec.bias = (stride + 1) * largest - middle;
        while (1 << spec.tableBits < 2 * (stride + 1) * largest + 1) ++spec.tableBits;
        table_.resize(std::size_t{2} << spec.tableBits);
        for (const Symbol& symbol : book.symbols) {
            const int k = spec.bias + middle + stride * symbol.x + symbol.y;
            table_[std::size_t(k)] = Qor32u(symbol.length);
            table_[std::size_t(k + (1 << spec.tableBits))] = symbol.word;
        }
        spec.pTable = table_.data();
        spec.reserved4 = 0x5A5A5A5A;
        spec.id = 0x434D415F;
    }
    EncodeSpec(const EncodeSpec&) = delete;
    EncodeSpec& operator=(const EncodeSpec&) = delete;

    const QorVLCEncodeSpec* pointer(int before = 0) const { return memory_.pointer(before); }
    QorVLCEncodeSpec& record() { return memory_.record(); }

  private:
    std::vector<Qor32u> table_;
    SpecMemory<QorVLCEncodeSpec> memory_;
};

}  // namespace qorac::test
