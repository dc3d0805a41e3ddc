// SPDX-License-Identifier: Apache-2.0
// The ranking heap: the worked example, tie rules, and a seeded random
// check that building and sorting order any array while comparing only its
// own elements.
#include <algorithm>
#include <random>
#include <utility>
#include <vector>

#include "dpmgmt/session.h"
#include "fake/fake_platform.h"

namespace {

// Elements carry a rank in their high 32 bits and a tag in the low ones, so
// that equal ranks stay distinguishable.
uint64_t el(uint32_t rank, uint32_t tag = 0) {
    return uint64_t{rank} << 32 | tag;
}

std::vector<std::pair<uint64_t, uint64_t>> g_compared;

int32_t by_rank(uint64_t a, uint64_t b) {
    g_compared.emplace_back(a, b);
    const uint32_t ra = static_cast<uint32_t>(a >> 32), rb = static_cast<uint32_t>(b >> 32);
    return ra < rb ? -1 : (ra > rb ? 1 : 0);
}

// Returns a large magnitude so that a caller using more than the sign
// (or truncating it) would go wrong.
int32_t by_value_wide(uint64_t a, uint64_t b) {
    g_compared.emplace_back(a, b);
    return a < b ? INT32_MIN : (a > b ? INT32_MAX : 0);
}

class RankingHeap : public FakePlatformTest {
protected:
    void SetUp() override {
        FakePlatformTest::SetUp();
        g_compared.clear();
    }
};

TEST_F(RankingHeap, WorkedExample) {
    std::vector<uint64_t> a = {5, 3, 8, 1};
    EXPECT_EQ(Session_Statck_Init(by_value_wide, 4, a.data()), 0u);
    EXPECT_EQ(a, (std::vector<uint64_t>{1, 3, 8, 5}));
    EXPECT_EQ(Session_Statck_Sort(by_value_wide, 4, a.data()), 0u);
    EXPECT_EQ(a, (std::vector<uint64_t>{8, 5, 3, 1}));
}

TEST_F(RankingHeap, Ties) {
    // Equal children under a larger parent: the right child moves up.
    std::vector<uint64_t> a = {el(9, 0), el(4, 1), el(4, 2)};
    Session_Statck_Modify(0, by_rank, 3, a.data());
    EXPECT_EQ(a, (std::vector<uint64_t>{el(4, 2), el(4, 1), el(9, 0)}));

    // A parent equal to both children stays.
    a = {el(4, 0), el(4, 1), el(4, 2)};
    Session_Statck_Modify(0, by_rank, 3, a.data());
    EXPECT_EQ(a, (std::vector<uint64_t>{el(4, 0), el(4, 1), el(4, 2)}));
}

TEST_F(RankingHeap, RandomArraysAreOrderedUsingOnlyTheirOwnElements) {
    std::mt19937 rng(20240531);
    constexpr uint64_t kGuard = 0xFFFFFFFFFFFFFFFFull;
    for (int trial = 0; trial < 300; ++trial) {
        const uint32_t count = trial == 0 ? 500 : std::uniform_int_distribution<uint32_t>(0, 70)(rng);
        std::vector<uint64_t> values(count);
        uint32_t tag = 0;
        for (auto &v : values) v = el(std::uniform_int_distribution<uint32_t>(0, 9)(rng), tag++);
        // Guards on both sides: a read past either end hands one to compare.
        std::vector<uint64_t> buf(count + 2, kGuard);
        std::copy(values.begin(), values.end(), buf.begin() + 1);
        uint64_t *array = buf.data() + 1;

        g_compared.clear();
        Session_Statck_Init(by_rank, count, array);
        const std::vector<uint64_t> heap(array, array + count);
        Session_Statck_Sort(by_rank, count, array);
        const auto compared = g_compared;
        for (const auto &[a, b] : compared) ASSERT_TRUE(a != kGuard && b != kGuard) << "trial " << trial;
        // At most two comparisons per level of each sift-down.
        uint32_t levels = 0;
        while ((1u << levels) <= count) ++levels;
        EXPECT_LE(compared.size(), size_t{2} * levels * (count + count / 2)) << "trial " << trial;

        for (uint32_t c = 1; c < count; ++c) ASSERT_LE(by_rank(heap[(c - 1) / 2], heap[c]), 0) << "trial " << trial;
        for (uint32_t i = 0; i + 1 < count; ++i) ASSERT_GE(by_rank(array[i], array[i + 1]), 0) << "trial " << trial;
        std::vector<uint64_t> sorted(array, array + count);
        std::sort(sorted.begin(), sorted.end());
        std::sort(values.begin(), values.end());
        EXPECT_EQ(sorted, values) << "trial " << trial << ": not a permutation";
        EXPECT_EQ(buf.front(), kGuard);
        EXPECT_EQ(buf.back(), kGuard);
    }
}

}  // namespace
