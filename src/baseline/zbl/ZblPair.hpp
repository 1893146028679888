#pragma once

namespace melta {

// The universal repulsion of two atoms at short distances (J. F. Ziegler, J. P. Biersack, U. Littmark, The
// Stopping and Range of Ions in Matter, Pergamon, 1985), times a switch that is 1 up to the inner radius and
// 0 from the outer one on, with two continuous derivatives.
struct ZblPair {
    double strength = 0.0;      // Z1 Z2 e^2 / (4 pi eps0), eV Angstrom; 0: no repulsion
    double inverseLength = 0.0; // of the screening, 1/Angstrom
    double inner = 0.0;         // Angstrom
    double outer = 0.0;         // Angstrom, larger than `inner`
};

// The pair of two atomic numbers, positive, with its radii, Angstrom.
ZblPair makeZblPair(int atomNumber, int otherNumber, double inner, double outer);

// Energy of a pair, eV, and its derivative by the distance, eV/Angstrom.
struct ZblValue {
    double energy = 0.0;
    double slope = 0.0;
};

// `r`: distance, positive, Angstrom.
ZblValue evaluateZbl(const ZblPair& pair, double r);

} // namespace melta
