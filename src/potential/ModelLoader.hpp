// Trained models from their files, without data, random numbers or output. All failures stop.
#pragma once

#include "potential/ModelData.hpp"

#include <memory>
#include <string>

namespace melta {

// From the files of a directory, as a training writes them; all of one store, although a training may be at
// work. Histograms that are not there are left out. Stops with "cannot open file: %s" (a file that the head
// asks for), as readStoredHead, readNetworks, BaselineKind::load and
// SymmFuncDistribution::readDistribution, and with "neural network is too large: %s".
std::shared_ptr<const ModelData> loadModel(const std::string& directory);

// From one file, as an export writes it. Stops as above, where a part of the file is missing with "cannot
// read ReaxFF potential: %s" and "cannot read #pairs of elements: %s".
std::shared_ptr<const ModelData> readModel(const std::string& file);

// Gives a model the histograms of a file for the elements of `set`, which are the model's, in its order.
// Stops as SymmFuncDistribution::readDistribution.
void readHistograms(ModelData& model, const GeometrySet& set, const std::string& fileName);

} // namespace melta
