// Single-precision matrix products on row-major blocks, in the three transpositions that dense layers need.
// Kernels for the small blocks of a tile, compiled for every instruction set; each runs on the calling
// thread.
#pragma once

#include <cstddef>

namespace melta {

// A row-major block: element (i, j) stands at data[i * stride + j].
struct ConstBlock {
    const float* data;
    std::size_t stride;
};
struct Block {
    float* data;
    std::size_t stride;
};

enum class Store { replace, add };

// c [rows][columns] (+)= a [rows][depth] * b [columns][depth]^T
void multiplyByTransposed(std::size_t rows, std::size_t columns, std::size_t depth, ConstBlock a,
                          ConstBlock b, Block c, Store store);

// c [rows][columns] (+)= a [rows][depth] * b [depth][columns]
void multiply(std::size_t rows, std::size_t columns, std::size_t depth, ConstBlock a, ConstBlock b, Block c,
              Store store);

// c [rows][columns] (+)= a [depth][rows]^T * b [depth][columns]
void multiplyTransposed(std::size_t rows, std::size_t columns, std::size_t depth, ConstBlock a, ConstBlock b,
                        Block c, Store store);

} // namespace melta
