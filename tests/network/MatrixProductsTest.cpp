#include "network/MatrixProducts.hpp"

#include "network/Numbers.hpp"
#include "network/VectorTargets.hpp"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <vector>

namespace melta {
namespace {

using test::onEachTarget;
using test::randomFloats;
using test::worstError;

constexpr std::array<std::size_t, 9> someLengths{1, 2, 3, 7, 8, 17, 40, 65, 97};

// Blocks lie inside wider rows, whose rest must stay as it is.
constexpr std::size_t padding = 5;
constexpr float untouched = 77.0f;

// c (+)= op(a) op(b) by plain loops; aStep and bStep are the distances of consecutive elements along the
// depth.
struct Operand {
    const std::vector<float>& values;
    std::size_t outerStep; // along the rows or columns of c
    std::size_t depthStep; // along the sum
};

std::vector<double> productOf(std::size_t rows, std::size_t columns, std::size_t depth, const Operand& a,
                              const Operand& b, const std::vector<float>& start, Store store) {
    std::vector<double> c = test::toDouble(start);
    for (std::size_t i = 0; i < rows; ++i) {
        for (std::size_t j = 0; j < columns; ++j) {
            double sum = store == Store::add ? c[i * (columns + padding) + j] : 0.0;
            for (std::size_t k = 0; k < depth; ++k) {
                sum += static_cast<double>(a.values[i * a.outerStep + k * a.depthStep]) *
                       static_cast<double>(b.values[j * b.outerStep + k * b.depthStep]);
            }
            c[i * (columns + padding) + j] = sum;
        }
    }
    return c;
}

using Product =
    std::function<void(std::size_t, std::size_t, std::size_t, ConstBlock, ConstBlock, Block, Store)>;

enum class Form { plain, byTransposed, transposed };

void checkShape(const Product& product, Form form, std::size_t rows, std::size_t columns, std::size_t depth) {
    // Shapes of the operands as they are stored.
    const std::size_t aRows = form == Form::transposed ? depth : rows;
    const std::size_t aStride = (form == Form::transposed ? rows : depth) + padding;
    const std::size_t bRows = form == Form::byTransposed ? columns : depth;
    const std::size_t bStride = (form == Form::byTransposed ? depth : columns) + padding;
    const std::size_t cStride = columns + padding;
    const std::vector<float> a = randomFloats(aRows * aStride, 1);
    const std::vector<float> b = randomFloats(bRows * bStride, 2);
    const Operand aLoop{a, form == Form::transposed ? 1 : aStride, form == Form::transposed ? aStride : 1};
    const Operand bLoop{b, form == Form::byTransposed ? bStride : 1,
                        form == Form::byTransposed ? 1 : bStride};
    for (const Store store : {Store::replace, Store::add}) {
        SCOPED_TRACE(testing::Message() << rows << " x " << columns << ", depth " << depth
                                        << (store == Store::add ? ", added" : ", replaced"));
        std::vector<float> c = randomFloats(rows * cStride, 3);
        for (std::size_t k = 0; k < c.size(); ++k) {
            if (k % cStride >= columns) {
                c[k] = untouched;
            }
        }
        const std::vector<double> want = productOf(rows, columns, depth, aLoop, bLoop, c, store);

        product(rows, columns, depth, {a.data(), aStride}, {b.data(), bStride}, {c.data(), cStride}, store);

        // Each term of at most one can cost half a unit in the last place of the sum so far.
        const double tolerance = 1.2e-7 * static_cast<double>(1 + depth);
        for (std::size_t k = 0; k < c.size(); ++k) {
            if (k % cStride >= columns) {
                ASSERT_EQ(c[k], untouched) << "beside the block";
            } else {
                ASSERT_LE(std::abs(static_cast<double>(c[k]) - want[k]), tolerance) << k;
            }
        }
    }
}

void checkAllShapes(const Product& product, Form form) {
    for (const std::size_t rows : someLengths) {
        for (const std::size_t columns : someLengths) {
            for (const std::size_t depth : someLengths) {
                checkShape(product, form, rows, columns, depth);
            }
        }
    }
}

TEST(MatrixProducts, Multiply) {
    onEachTarget([] { checkAllShapes(multiply, Form::plain); });
}

TEST(MatrixProducts, MultiplyByTransposed) {
    onEachTarget([] { checkAllShapes(multiplyByTransposed, Form::byTransposed); });
}

TEST(MatrixProducts, MultiplyTransposed) {
    onEachTarget([] { checkAllShapes(multiplyTransposed, Form::transposed); });
}

// Fresh buffers may hold anything.
TEST(MatrixProducts, ReplacingForgetsNaN) {
    constexpr std::size_t size = 17;
    const std::vector<float> ones(size * size, 1.0f);
    for (const Product& product :
         {Product(multiply), Product(multiplyByTransposed), Product(multiplyTransposed)}) {
        std::vector<float> c(size * size, std::numeric_limits<float>::quiet_NaN());

        product(size, size, size, {ones.data(), size}, {ones.data(), size}, {c.data(), size}, Store::replace);

        EXPECT_EQ(c, std::vector<float>(size * size, 17.0f));
    }
}

TEST(MatrixProducts, RunInsideParallelRegions) {
    constexpr std::size_t size = 33;
    constexpr int numBlocks = 16;
    const std::vector<float> a = randomFloats(size * size, 4);
    const std::vector<float> b = randomFloats(size * size, 5);
    std::vector<float> alone(size * size);
    multiply(size, size, size, {a.data(), size}, {b.data(), size}, {alone.data(), size}, Store::replace);
    std::vector<std::vector<float>> results(numBlocks, std::vector<float>(size * size));

#pragma omp parallel for schedule(static) num_threads(4)
    for (int i = 0; i < numBlocks; ++i) {
        multiply(size, size, size, {a.data(), size}, {b.data(), size},
                 {results[static_cast<std::size_t>(i)].data(), size}, Store::replace);
    }

    for (const std::vector<float>& result : results) {
        EXPECT_LE(worstError(result, test::toDouble(alone)), 1.0e-6);
    }
}

} // namespace
} // namespace melta
