// Trained models as modes that work on a data set need them: for the elements of the set, under the settings
// of the run. Each step tells on the console what it does. Models for hosts: ModelLoader.hpp.
#pragma once

#include "potential/ModelData.hpp"

#include <memory>
#include <string>

namespace melta {

// The networks under `networkFile`, without histograms and baseline. Energies are measured from the mean
// energies of the set, as its data are. Elements of the set that the model lacks have symmDev -1. Stops as
// SymmFuncFactory::requireSymmFunc, with "neural network is too large.", "cannot allocate memory: %s" and as
// NNIO::readNetworkFile.
std::unique_ptr<ModelData> restoreModel(const Property& settings, const GeometrySet& set,
                                        const std::string& networkFile, bool withCharges);

// Adds the histograms of a file. `set`: that of the model. Stops with "cannot allocate memory: %s" and as
// SymmFuncDistribution::readDistribution.
void restoreHistograms(ModelData& model, const GeometrySet& set, const std::string& fileName);

} // namespace melta
