#pragma once

#include <cstddef>

namespace melta::bench {

// Evaluates `numVectors` vector sines and as many vector cosines of angles k theta, with as many orders k to
// a vector as the processor has lanes (16 at most), and gives a sum of the results. What a descriptor of so
// many vectors of orders would cost if nothing but its sines and cosines were counted.
float evaluateTrigonometry(std::size_t numVectors);

// Orders to a vector, and the vectors that one run of `numOrders` orders takes.
std::size_t countLanes();
inline std::size_t countVectors(std::size_t numOrders) {
    return (numOrders + countLanes() - 1) / countLanes();
}

} // namespace melta::bench
