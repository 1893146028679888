#pragma once

#include <span>

namespace melta {

// Gradient of a function of the symmetry functions by the positions of the neighbours of a shell, in its
// order and padded like it.
struct ShellGradient {
    std::span<float> x, y, z;
};

} // namespace melta
