#include "base/AlignedBuffer.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <type_traits>

namespace melta {
namespace {

static_assert(!std::is_copy_constructible_v<AlignedBuffer<float>>);
static_assert(!std::is_copy_assignable_v<AlignedBuffer<float>>);

bool isAligned(const void* pointer) {
    return reinterpret_cast<std::uintptr_t>(pointer) % 64 == 0;
}

TEST(AlignedBufferTest, NewBufferIsEmpty) {
    AlignedBuffer<float> buffer;

    buffer.setZero();

    EXPECT_TRUE(buffer.empty());
    EXPECT_EQ(buffer.size(), 0U);
    EXPECT_TRUE(buffer.span().empty());
}

TEST(AlignedBufferTest, EverySizeBeginsAtACacheLine) {
    for (const std::size_t size : {1U, 3U, 16U, 1000U}) {
        const AlignedBuffer<float> floats(size);
        const AlignedBuffer<char> bytes(size);

        EXPECT_TRUE(isAligned(floats.data()));
        EXPECT_TRUE(isAligned(bytes.data()));
        EXPECT_EQ(floats.size(), size);
        EXPECT_EQ(floats.span().size(), size);
    }
}

TEST(AlignedBufferTest, ElementsAreWritableThroughAllViews) {
    AlignedBuffer<int> buffer(5);

    std::iota(buffer.span().begin(), buffer.span().end(), 10);
    buffer[2] = -1;

    const AlignedBuffer<int>& reader = buffer;
    EXPECT_EQ(reader[0], 10);
    EXPECT_EQ(reader.data()[2], -1);
    EXPECT_EQ(reader.span().back(), 14);
}

TEST(AlignedBufferTest, SetZeroClearsEveryElement) {
    AlignedBuffer<float> buffer(100);
    std::fill(buffer.span().begin(), buffer.span().end(), 3.0f);

    buffer.setZero();

    EXPECT_EQ(std::count(buffer.span().begin(), buffer.span().end(), 0.0f), 100);
}

TEST(AlignedBufferTest, ResizeToTheSameSizeKeepsTheContents) {
    AlignedBuffer<int> buffer(4);
    buffer[3] = 7;

    buffer.resize(4);

    EXPECT_EQ(buffer[3], 7);
}

TEST(AlignedBufferTest, ResizeGrowsAndShrinks) {
    AlignedBuffer<int> buffer(4);

    buffer.resize(9);
    EXPECT_EQ(buffer.size(), 9U);
    buffer.resize(2);
    EXPECT_EQ(buffer.size(), 2U);
    buffer.resize(0);
    EXPECT_TRUE(buffer.empty());
}

TEST(AlignedBufferTest, ReserveNeverShrinks) {
    AlignedBuffer<int> buffer(8);
    buffer[7] = 5;

    buffer.reserve(3);
    EXPECT_EQ(buffer.size(), 8U);
    EXPECT_EQ(buffer[7], 5);
    buffer.reserve(20);
    EXPECT_EQ(buffer.size(), 20U);
}

TEST(AlignedBufferTest, MoveHandsTheStorageOver) {
    AlignedBuffer<int> source(6);
    source[5] = 11;
    const int* const storage = source.data();

    const AlignedBuffer<int> target(std::move(source));

    EXPECT_EQ(target.data(), storage);
    EXPECT_EQ(target.size(), 6U);
    EXPECT_EQ(target[5], 11);
}

} // namespace
} // namespace melta
