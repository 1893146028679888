#pragma once

namespace melta {

// Lone pairs of an atom and the derivative by deltaE.
struct LonePairCount {
    double value;
    double slope;
};

// The smooth count of lone pairs at `deltaE`, the sum of the bond orders of the atom minus its valence
// electrons: 0 between -lpLower and lpLower, elsewhere a staircase that follows the truncation of -deltaE / 2
// and passes from one step to the next around the even numbers. Between lpLower and lpUpper, on both sides, a
// taper of seventh order leads over.
//
// From lpLower to lpUpper the slope is that of this potential's definition: short of the exact derivative by
// the derivative of the taper, so that forces are not quite those of the energy for atoms with deltaE there.
[[nodiscard]] LonePairCount countLonePairs(double deltaE);

} // namespace melta
