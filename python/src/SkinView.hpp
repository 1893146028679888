#pragma once

#include "Structure.hpp"

#include <melta/PeriodicView.hpp>

#include <array>
#include <memory>
#include <vector>

namespace melta::python {

// Neighbour lists of a periodic cell that reach further than they have to, by a skin, and are kept while the
// atoms and the cell move little.
class SkinView {
public:
    // reach: how far lists have to reach, Angstrom, above 0; skin: by how much they reach further, 0 or more.
    SkinView(double wantedReach, double wantedSkin) : reach(wantedReach), skin(wantedSkin) {}

    // Makes the view that of the structure. Throws Error as PeriodicView does, and for a cell that is so
    // small that its lists could not be kept.
    void update(const Structure& structure);

    // Valid until the next update.
    [[nodiscard]] const NeighborView& view() const { return movedView; }

    [[nodiscard]] const PeriodicView& lists() const { return *built; }
    [[nodiscard]] int numBuilds() const { return builds; }

private:
    // Whether the lists hold all neighbours within reach of the structure.
    [[nodiscard]] bool isCovered(const Structure& structure) const;
    void build(const Structure& structure);
    void move(const Structure& structure);

    double reach;
    double skin;
    int builds = 0;
    std::unique_ptr<PeriodicView> built;

    // The structure that the lists were built for.
    std::array<double, 9> builtCell{};
    std::array<double, 9> builtInverse{};
    std::vector<double> builtPositions;
    std::vector<int> builtElements;

    std::vector<double> shifts; // [numAtoms of the view][3], whole cell vectors from the owner's position
    std::vector<double> places; // [numAtoms of the view][3], Angstrom
    NeighborView movedView;
};

} // namespace melta::python
