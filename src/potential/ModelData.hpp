#pragma once

#include "config/Property.hpp"
#include "network/NNEnsemble.hpp"
#include "network/SymmPreparation.hpp"
#include "structure/GeometrySet.hpp"
#include "structure/ViewBaseline.hpp"
#include "symmfunc/SymmFunc.hpp"
#include "symmfunc/SymmFuncDistribution.hpp"

#include <memory>
#include <vector>

namespace melta {

// All that a trained model consists of, in the order of its elements. Filled by ModelLoader, then only read,
// by every thread.
struct ModelData {
    Property settings;                  // those of the model; the others have their defaults
    GeometrySet elements;               // the element table and nothing else
    SymmStatistics statistics;          // [numElems]
    std::unique_ptr<SymmFunc> symmFunc; // borrows arrays from the settings

    std::vector<NNEnsemble> energyNetworks; // [numElems], outputs measured from `references`
    std::vector<std::int32_t> atomNumbers;  // [numElems], atomic numbers; 0 for a label that is no symbol
    std::vector<double> references;         // [numElems], mean output bias, eV
    std::vector<NNEnsemble> chargeNetworks; // [numElems]; empty without charges

    std::unique_ptr<SymmFuncDistribution> histograms; // null without
    std::shared_ptr<const ViewBaseline> baseline;     // null without
};

} // namespace melta
