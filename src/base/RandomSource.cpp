#include "base/RandomSource.hpp"

#include "base/Reporting.hpp"

#include <algorithm>
#include <ctime>
#include <utility>

namespace melta {
namespace {

constexpr std::uint32_t multiplier = 214013U;
constexpr std::uint32_t increment = 2531011U;
constexpr float unitOfDraw = 3.0517578e-05f; // 1/32768

} // namespace

void RandomSource::seed(std::uint32_t newState) {
    state = newState;
    isSeeded = true;
}

int RandomSource::draw() {
    if (!isSeeded) {
        seed(static_cast<std::uint32_t>(std::time(nullptr)) + static_cast<std::uint32_t>(processRank()));
    }
    state = state * multiplier + increment;
    return static_cast<int>((state >> 16U) & 0x7fffU);
}

float RandomSource::drawUniform() {
    return unitOfDraw * static_cast<float>(draw());
}

int RandomSource::drawIndex(int n) {
    return drawBelow(n, n - 1);
}

int RandomSource::drawBelow(int n, int top) {
    const int index = static_cast<int>(static_cast<float>(n) * unitOfDraw * static_cast<float>(draw()));
    return std::min(std::max(index, 0), top);
}

void RandomSource::shuffle(std::span<int> list) {
    const int last = static_cast<int>(list.size()) - 1;
    for (int i = last; i >= 1; --i) {
        const int other = drawBelow(i + 1, last);
        if (other != i) {
            std::swap(list[static_cast<std::size_t>(i)], list[static_cast<std::size_t>(other)]);
        }
    }
}

} // namespace melta
