// Every function with every argument wrong, one at a time and in pairs.
//
// An entry holds a function, arguments that it takes, and wrong ones in the order in which the
// function tests them. Alone, each must give its status; of two, the one that is tested first must
// give its own. Whatever the function could reach stands in one arena, which must be the same after
// each refusal.
#pragma once

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

#include "qorac.h"

namespace qorac::test {

// Memory that is given out front to back, and that can be saved and restored as a whole. Each array
// begins on a boundary of 64 bytes.
class Arena {
  public:
    template <typename T>
    T* array(std::size_t count, const T& value = T()) {
        T* const p = static_cast<T*>(take(count * sizeof(T)));
        std::uninitialized_fill_n(p, count, value);
        return p;
    }
    template <typename T>
    T* record(const T& value = T()) {
        return array(1, value);
    }
    template <typename T, std::size_t width>
    auto rows(std::size_t count) {
        return reinterpret_cast<T(*)[width]>(array<T>(count * width));
    }
    // What a function only writes: a pattern that none would write by chance.
    template <typename T>
    T* output(std::size_t count = 1) {
        return static_cast<T*>(std::memset(take(count * sizeof(T)), 0x5A, count * sizeof(T)));
    }
    // A stream of zero bytes behind those given, and the pointer to the pointer to its start.
    Qor8u** stream(std::initializer_list<Qor8u> start = {}) {
        Qor8u* const bytes = array<Qor8u>(2048);
        std::copy(start.begin(), start.end(), bytes);
        return record(bytes);
    }

    std::ptrdiff_t offset(const void* p) const {
        return static_cast<const char*>(p) - memory_.get();
    }
    std::vector<char> bytes() const { return {memory_.get(), memory_.get() + used_}; }
    void restore(const std::vector<char>& bytes) {
        std::copy(bytes.begin(), bytes.end(), memory_.get());
    }

  private:
    void* take(std::size_t size);

    struct Free {
        void operator()(char* p) const { std::free(p); }
    };
    std::unique_ptr<char, Free> memory_;
    std::size_t used_ = 0;
};

class Entry {
  public:
    virtual ~Entry() = default;
    const std::string& name() const { return name_; }
    // A GoogleTest failure for each call that does not end as it should.
    void check();
    // The statuses of the checks in their order; one of several in a row.
    std::vector<QorStatus> statuses() const;

  protected:
    struct Wrong {
        std::string place;  // the argument or field; two of one place do not go together
        std::string value;
        QorStatus status;
    };

    Entry(std::string name, Arena& arena) : arena_(arena), name_(std::move(name)) {}
    virtual void reset() = 0;               // to the good arguments
    virtual void apply(std::size_t i) = 0;  // wrong argument i
    virtual QorStatus call() = 0;
    virtual void release() = 0;  // what the call with good arguments allocated

    Arena& arena_;
    std::vector<Wrong> wrong_;

  private:
    void checkCall(const std::vector<char>& good, std::initializer_list<std::size_t> which);

    std::string name_;
};

template <typename... P>
class Function : public Entry {
  public:
    using Arguments = std::tuple<P...>;

    Function(std::string name, Arena& arena, QorStatus (*function)(P...), P... good)
        : Entry(std::move(name), arena), function_(function), good_(good...) {}

    // Argument `index` (from 0) is `value`, which gives `status`.
    template <std::size_t index, typename T>
    Function& bad(T value, QorStatus status) {
        return add("argument " + std::to_string(index), text(value), status,
                   [value](Arguments& arguments) { std::get<index>(arguments) = value; });
    }
    // Any of several values.
    template <std::size_t index, typename T>
    Function& bad(std::initializer_list<T> values, QorStatus status) {
        for (const T value : values) bad<index>(value, status);
        return *this;
    }
    // Each of these arguments null, in this order.
    template <std::size_t... index>
    Function& null() {
        (bad<index>(nullptr, qorStsNullPtrErr), ...);
        return *this;
    }
    // What an argument points to: a field of the arena.
    template <typename T>
    Function& field(T& place, std::type_identity_t<T> value, QorStatus status) {
        return add("byte " + std::to_string(arena_.offset(&place)), text(value), status,
                   [&place, value](Arguments&) { place = value; });
    }
    template <typename T>
    Function& field(T& place, std::initializer_list<std::type_identity_t<T>> values,
                    QorStatus status) {
        for (const T value : values) field(place, value, status);
        return *this;
    }
    // A value outside low to high: on both sides, next to them and as far away as can be.
    template <std::size_t index>
    Function& outside(int low, int high, QorStatus status) {
        return bad<index>({low - 1, high + 1, INT_MIN, INT_MAX}, status);
    }
    Function& outside(Qor32s& place, int low, int high, QorStatus status) {
        return field(place, {low - 1, high + 1, INT_MIN, INT_MAX}, status);
    }
    template <std::size_t index>
    Function& below(int low, QorStatus status) {
        return bad<index>({low - 1, INT_MIN}, status);
    }
    // Each of the contexts that argument `index` must not be.
    template <std::size_t index>
    Function& foreign(const std::vector<void*>& contexts, std::initializer_list<const void*> own) {
        using Context = std::tuple_element_t<index, Arguments>;
        for (void* const context : contexts)
            if (std::find(own.begin(), own.end(), context) == own.end())
                bad<index>(static_cast<Context>(context), qorStsContextMatchErr);
        return *this;
    }
    // The pointer to a stream, null.
    Function& nullStream(Qor8u** ppBitStream) {
        return field(*ppBitStream, nullptr, qorStsNullPtrErr);
    }
    // Any change, of a place that is named.
    Function& change(std::string place, QorStatus status, std::function<void(Arguments&)> apply) {
        return add(std::move(place), "", status, std::move(apply));
    }
    // Releases what the call with good arguments allocated.
    Function& releasing(std::function<void()> release) {
        release_ = std::move(release);
        return *this;
    }

  protected:
    void reset() override { arguments_ = good_; }
    void apply(std::size_t i) override { apply_[i](arguments_); }
    QorStatus call() override { return std::apply(function_, arguments_); }
    void release() override {
        if (release_) release_();
    }

  private:
    template <typename T>
    static std::string text(T value) {
        if constexpr (std::is_arithmetic_v<T>)
            return " = " + std::to_string(value);
        else
            return value == nullptr ? " = null" : " = another";
    }
    Function& add(std::string place, std::string value, QorStatus status,
                  std::function<void(Arguments&)> apply) {
        wrong_.push_back({std::move(place), std::move(value), status});
        apply_.push_back(std::move(apply));
        return *this;
    }

    QorStatus (*function_)(P...);
    Arguments good_, arguments_;
    std::vector<std::function<void(Arguments&)>> apply_;
    std::function<void()> release_;
};

// The entries of one family stand in one file; each function's arena lives as long as they do.
// Where other good arguments bring other checks, a function has several entries, whose names go on
// behind a comma.
class Family {
  public:
    Arena& arena() { return *arenas_.emplace_back(std::make_unique<Arena>()); }

    template <typename... P>
    Function<P...>& add(std::string name, Arena& arena, QorStatus (*function)(P...),
                        std::type_identity_t<P>... good) {
        auto entry = std::make_unique<Function<P...>>(std::move(name), arena, function, good...);
        Function<P...>& added = *entry;
        entries_.push_back(std::move(entry));
        return added;
    }
    const std::vector<std::unique_ptr<Entry>>& entries() const { return entries_; }

  private:
    std::vector<std::unique_ptr<Arena>> arenas_;
    std::vector<std::unique_ptr<Entry>> entries_;
};

// A bank whose context is one block of a fixed size: its functions but Init and the filter.
// `contexts` builds one context of each kind in an arena; that at place `own` is this bank's.
template <typename Spec>
struct BlockFunctions {
    std::string prefix, suffix;
    QorStatus (*getSize)(Qor32s*);
    QorStatus (*initAlloc)(Spec**);
    QorStatus (*free)(Spec*);

    std::string name(const char* operation) const { return prefix + operation + suffix; }
    void add(Family& family, std::vector<void*> (*contexts)(Arena&), int own) const {
        Arena& size = family.arena();
        family.add(name("GetSize"), size, getSize, size.output<Qor32s>()).template null<0>();

        Arena& alloc = family.arena();
        Spec** const place = alloc.record<Spec*>();
        family.add(name("InitAlloc"), alloc, initAlloc, place)
            .template null<0>()
            .releasing([place, release = free] { release(*place); });

        Arena& ended = family.arena();
        const std::vector<void*> all = contexts(ended);
        family.add(name("Free"), ended, free, static_cast<Spec*>(all[own]))
            .template null<0>()
            .template foreign<0>(all, {all[own]});
    }
};

void addSampleFormats(Family& family);
void addMp3Decoding(Family& family);
void addMp3FloatBanks(Family& family);
void addMp3Encoding(Family& family);
void addAac(Family& family);
void addPrediction(Family& family);
void addSbr(Family& family);
void addMdct(Family& family);
void addVlc(Family& family);
void addMisc(Family& family);

}  // namespace qorac::test
