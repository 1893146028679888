// Keeping the networks of an arrangement in files, as a run does it. What the files hold: NNIO.hpp.
#pragma once

#include <string>

namespace melta {

class GeometrySet;
class NNArch;

// Tells it on the console and writes the model of `arch` under `fileName`. The model that stood there before
// stays whole until the new one is. Stops with "geometrySet is null." and as NNIO::writeNetworkFile.
void storeNN(const NNArch& arch, const std::string& fileName, const GeometrySet* geometrySet);

// Fills the networks of `arch` and its ranges of symmetry functions, after initLayers, from the model under
// `fileName`. With `checkFiles` a set of files that is not complete is told on the console and leaves `arch`
// as it is. Stops with "geometrySet is null." and as NNIO::readNetworkFile.
void restoreNN(NNArch& arch, const std::string& fileName, const GeometrySet* geometrySet, bool checkFiles);

} // namespace melta
