#include "KimModel.hpp"

namespace melta {

KimModel::KimModel(const std::string& file, Units hostUnits)
    : potential(Potential::read(file)), units(hostUnits),
      influenceDistance(potential.influenceDistance() * units.length),
      cutoff(potential.cutoff() * units.length) {}

} // namespace melta
