#include "structure/LebedevDirections.hpp"

#include "base/RandomSource.hpp"

namespace melta {
namespace {

constexpr double unitOfDraw = 1.0 / (RandomSource::maxDraw + 1);

constexpr std::array<LebedevDirection, numLebedevDirections> makeTable() {
    constexpr double rows[numLebedevDirections][4] = {
#include "structure/LebedevTable.inc"
    };
    std::array<LebedevDirection, numLebedevDirections> table{};
    for (std::size_t i = 0; i < numLebedevDirections; ++i) {
        table[i] = {{rows[i][0], rows[i][1], rows[i][2]}, rows[i][3]};
    }
    return table;
}

constexpr std::array<LebedevDirection, numLebedevDirections> table = makeTable();

} // namespace

std::span<const LebedevDirection, numLebedevDirections> lebedevDirections() {
    return table;
}

std::size_t findLebedevDirection(double u) {
    std::size_t low = 0;
    std::size_t high = numLebedevDirections;
    while (high - low > 1) {
        const std::size_t middle = (low + high) / 2;
        if (table[middle].weightBefore <= u) {
            low = middle;
        } else {
            high = middle;
        }
    }
    return low;
}

const std::array<double, 3>& drawDirection(RandomSource& random) {
    return table[findLebedevDirection(random.draw() * unitOfDraw)].vector;
}

} // namespace melta
