// The weights of the terms of energy and stress that suit a set of data, so that trainings on data of any
// kind begin with the same settings.
#pragma once

namespace melta {

class GeometrySet;
class Property;

// What is learnt, as a whole.
struct DataSpread {
    double forces;   // root mean square of a force component, eV/Angstrom
    double energies; // deviation of the total energy of an atom from the mean over the geometries, eV
};
DataSpread measureSpread(const GeometrySet& set);

struct DataWeights {
    float first;        // coefEnergy, 1/Angstrom^2 in units of coefForce
    float final;        // coefEnergyFinal
    float stress;       // coefStress
    double outputScale; // of the networks at the start, eV
};

// Trainings do best where energies count little at first and much at the end. The weight goes from 0.5 to
// 50. Where energies spread so widely that this would let them rule from the start, such as those of cells
// under large strain beside forces that are small, it goes from 2 to 1000 (forces / energies)^2. Where they
// hardly differ, such as those of large cells of a liquid, it ends at up to ten times as much, in proportion
// to forces / energies. Stress has 0.6 of the first weight all along. The networks begin with outputs of the
// order of the forces over half an Angstrom, because a step of Adam changes them in that proportion.
DataWeights findWeights(const DataSpread& spread);

// With coefFromData, gives a training of energies and forces the weights of its data, and tells it on the
// console. A coefStress of the user's stays, and so does everything with data without forces. Stress takes
// part where the data have it and the model can learn it.
void takeDataWeights(Property& property, GeometrySet& set);

} // namespace melta
