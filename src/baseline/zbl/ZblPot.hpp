#pragma once

#include "baseline/zbl/ZblTable.hpp"
#include "structure/BaselinePotential.hpp"

#include <utility>

namespace melta {

// The ZBL repulsion of geometries, over their present neighbour lists, in double precision. Half of the
// energy of a pair belongs to each of its atoms. Keeps nothing between calls: several threads may use one
// object.
class ZblPot final : public BaselinePotential {
public:
    // `forElements`: in the order of the geometries' elements.
    explicit ZblPot(ZblTable forElements) : table(std::move(forElements)) {}

    void removeFromGeometry(Geometry* geometry) override;
    float obtainEnergy(const Geometry* geometry) override;
    float obtainEnergiesAndForces(const Geometry* geometry, std::span<float> energies,
                                  std::span<float> forces) override;

private:
    ZblTable table;
};

} // namespace melta
