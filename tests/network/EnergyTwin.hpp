#pragma once

#include "network/NetworkTile.hpp"
#include "network/NetworkTwin.hpp"

#include <vector>

namespace melta::test {

// What a loss weighs; an empty scale leaves its term out.
struct LossTwin {
    std::vector<double> energyScale; // [numElems]
    std::vector<double> forceScale;  // [numElems]
    bool withHDNNP = false;
    bool sqrtLoss = false;
    bool isExact = true;
};

// The slow, obvious twin of the energy passes for one model: a loop over geometries and atoms in double
// precision. Symmetry functions and their derivatives are taken from the batch as given numbers.
class EnergyTwin {
public:
    // Borrows the batch, copies the networks.
    EnergyTwin(const BatchView& batch, int model);

    std::vector<double> energiesOf(std::size_t geometry);
    std::vector<double> forcesOf(std::size_t geometry);

    double energyLossOf(const LossTwin& loss);
    double forceLossOf(const LossTwin& loss);

    // Adds the gradients of both losses to the networks. With `loss.isExact` false the force term takes the
    // approximate form.
    void addLossGrads(const LossTwin& loss);

    std::vector<NetworkTwin> networks; // [numElems]

private:
    double squaredEnergyErrors(const LossTwin& loss);
    double squaredForceErrors(const LossTwin& loss);
    double energyWeight(const LossTwin& loss, std::size_t geometry, std::size_t atom) const;
    std::vector<double> energyErrorsOf(const LossTwin& loss, std::size_t geometry);
    void addEnergyLossGrads(const LossTwin& loss);
    void addForceLossGrads(const LossTwin& loss);
    NetworkTwin& networkOf(std::size_t geometry, std::size_t atom);
    std::vector<double> inputsOf(std::size_t geometry, std::size_t atom) const;
    std::vector<std::size_t> atomsOfRows(std::size_t geometry, std::size_t atom) const;

    BatchView batch;
};

} // namespace melta::test
