#include "arguments/arguments.h"

#include <algorithm>

#include "gtest/gtest.h"

namespace qorac::test {

void* Arena::take(std::size_t size) {
    constexpr std::size_t kSize = 1 << 20, kAlignment = 64;
    if (memory_ == nullptr)
        memory_.reset(static_cast<char*>(std::aligned_alloc(kAlignment, kSize)));
    void* const p = memory_.get() + used_;
    used_ += (size + kAlignment - 1) / kAlignment * kAlignment;
    if (used_ > kSize) std::abort();
    return p;
}

void Entry::checkCall(const std::vector<char>& good, std::initializer_list<std::size_t> which) {
    std::string what = name_;
    for (const std::size_t i : which)
        what += ", " + wrong_[i].place + wrong_[i].value + " (" + std::to_string(wrong_[i].status) +
                ")";
    SCOPED_TRACE(what);
    arena_.restore(good);
    reset();
    for (const std::size_t i : which) apply(i);
    const std::vector<char> before = arena_.bytes();
    EXPECT_EQ(call(), wrong_[std::min(which)].status);
    EXPECT_TRUE(arena_.bytes() == before) << "memory was written";
}

void Entry::check() {
    const std::vector<char> good = arena_.bytes();
    reset();
    const QorStatus status = call();
    EXPECT_TRUE(status == qorStsNoErr || status == qorStsAlignmentWarn)
        << name_ << " with good arguments gives " << status;
    release();
    for (std::size_t i = 0; i < wrong_.size(); ++i) {
        checkCall(good, {i});
        for (std::size_t k = i + 1; k < wrong_.size(); ++k)
            if (wrong_[i].place != wrong_[k].place) checkCall(good, {i, k});
    }
    arena_.restore(good);
}

std::vector<QorStatus> Entry::statuses() const {
    std::vector<QorStatus> all;
    for (const Wrong& wrong : wrong_)
        if (all.empty() || all.back() != wrong.status) all.push_back(wrong.status);
    return all;
}

}  // namespace qorac::test
