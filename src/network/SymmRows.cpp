#include "network/SymmRows.hpp"

namespace melta {

void SymmRows::resize(std::size_t basis, std::span<const std::size_t> numNeighbors, bool withDerivs) {
    numBasis = basis;
    derivStart.assign(1, 0);
    for (const std::size_t count : numNeighbors) {
        derivStart.push_back(derivStart.back() + 3 * (count + 1) * numBasis);
    }
    values.resize(numNeighbors.size() * numBasis);
    derivs.resize(withDerivs ? derivStart.back() : 0);
}

std::span<float> SymmRows::derivsOf(std::size_t atom) {
    return hasDerivs() ? derivs.span().subspan(derivStart[atom], derivStart[atom + 1] - derivStart[atom])
                       : std::span<float>{};
}

std::span<const float> SymmRows::derivsOf(std::size_t atom) const {
    return hasDerivs() ? derivs.span().subspan(derivStart[atom], derivStart[atom + 1] - derivStart[atom])
                       : std::span<const float>{};
}

} // namespace melta
