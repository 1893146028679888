// The mean error of the energies that a training by small batches leaves behind. Its last steps are too short
// to take away what a few geometries pulled the other way before, while the way to do it is known.
#pragma once

namespace melta {

class GeometrySet;
class NNArch;

// Mean over the geometries of the error of the energy of an atom, of the mean of the models, eV. The set is
// the in-core set of the arrangement, prepared, and there is no batch; it is evaluated `batchSize` geometries
// at a time. Stops as NNArch::prepareBatch and NNArch::evaluate.
double meanEnergyError(NNArch& arch, const GeometrySet& geometrySet, int batchSize);

// Adds `shift`, eV, to the energy that each model gives each atom. Forces and stress stay as they are.
void shiftEnergies(NNArch& arch, double shift);

} // namespace melta
