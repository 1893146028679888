#pragma once

#include <cstddef>
#include <span>

namespace melta {

// Where a block of symmetry functions goes: the radial functions of one element or the angular functions of
// one pair of elements. Their number is the length of `values`.
struct BasisBlock {
    std::span<float> values;   // [numColumns], overwritten
    float* diff = nullptr;     // first element of the block in row 0 of the derivatives; null: values only
    std::size_t rowStride = 0; // distance between two rows, the length of the whole vector
};

} // namespace melta
