#pragma once

#include <cstdint>
#include <span>

namespace melta {

// The shared random source: a 15-bit linear congruential generator with a 32-bit state, multiplier 214013 and
// increment 2531011, whose results are bits 16 to 30 of the state. It is seeded once, at the first draw, with
// the time in seconds plus the process number, unless a host or a test has seeded it before. Serial code
// only.
class RandomSource {
public:
    // Largest result of draw().
    static constexpr int maxDraw = 32767;

    void seed(std::uint32_t state);

    // Next number, 0 to 32767.
    int draw();

    // Next number in [0, 1), in steps of 1/32768.
    float drawUniform();

    // Position in a list of n items, 0 to n - 1.
    int drawIndex(int n);

    // Shuffles a list from the last index downward. A list of one item draws no number.
    void shuffle(std::span<int> list);

private:
    // Truncation of n times a uniform number, clamped to 0 and `top`.
    int drawBelow(int n, int top);

    bool isSeeded = false;
    std::uint32_t state = 0;
};

// The source that all draws of the present run use, the start weights of networks included (Run.hpp).
RandomSource& sharedRandom();

} // namespace melta
