#pragma once

#include "network/NNEnsemble.hpp"
#include "network/SymmPreparation.hpp"

#include <string>
#include <vector>

namespace melta {

class FileReplacement;
class GeometrySet;
class Property;

// Reads and writes the files of a trained model: the head under the given name, which tells what the model
// is, and beside it companions with the weights of the energy networks, whose name ends with "_e", and with
// those of the charge networks, whose name ends with "_q".
//
// The head, line by line, indented lines under their condition:
//     symmFuncKind elemWeight tanhCutoff baseline           baseline: 0 none, 1 Lennard-Jones-like, 2 ReaxFF
//         rcutReaxFF rateReaxFF                                                  baseline 2
//         m2 m3 rinner router                                                    many-body
//         numRadius numAngle rcutRadius rcutAngle                                Chebyshev
//         numRadius maxAngular bodyOrder numRadius4 channels rcutRadius          cluster functions
//         numRadius numAngle rcutRadius rcutAngle behlerG4                       Behler, followed by
//             radiusEta radiusShift                         for each radial function
//             angleEta angleZeta angleShift                 for each angular function
//     withCharge
//     layersEnergy nodesEnergy activEnergy modelsEnergy
//         layersCharge nodesCharge activCharge modelsCharge                      withCharge not 0
//     number of elements
//     name symmAve symmDev atomic number                    for each element; with cluster functions, on the
//                                                           same line, the weights of its neighbours
//                                                           [number of elements][channels]
//
// A companion, for each element of the head and each model: weights and biases of the hidden layers, weights
// of the output layer, and its bias, to which that of energies adds the element's mean energy, so that the
// file gives absolute energies.
//
// Heads of older systems are read too: the first line with three numbers (no baseline) or one (elemWeight 0,
// tanhCutoff 1), a Behler line with one cutoff, angular lines without shift, network lines without models.
//
// Short-lived; `property` and `geometrySet` are borrowed. Serial.
class NNIO {
public:
    // Stops with "property is null." and "geometrySet is null.".
    NNIO(const Property* property, const GeometrySet* geometrySet);
    virtual ~NNIO() = default;
    NNIO(const NNIO&) = delete;
    NNIO& operator=(const NNIO&) = delete;
    NNIO(NNIO&&) = delete;
    NNIO& operator=(NNIO&&) = delete;

    // Writes the head and the companions of the networks that are not empty. `energy`, `charge` and the
    // arrays of `statistics` have one entry for each element of the set. The files take their names only when
    // all of them are complete. Stops with "index of element is out of range.", "cannot open file: %s",
    // "cannot write file: %s" (the file concerned); the files that stood there before are then still there.
    void writeNetworkFile(const std::string& fileName, const SymmStatistics& statistics,
                          const std::vector<NNEnsemble>& energy, const std::vector<NNEnsemble>& charge) const;

    // The same into a set of files that the caller completes, the head in front.
    void writeNetworkFile(FileReplacement& files, const std::string& fileName,
                          const SymmStatistics& statistics, const std::vector<NNEnsemble>& energy,
                          const std::vector<NNEnsemble>& charge) const;

    // Checks the head against the settings, whose shapes the networks have, and takes ranges and networks of
    // the elements that the set has as well, found by name. Elements and inputs that the file lacks keep what
    // they had; inputs of elements that the set lacks are dropped. Both are done so that an atom without such
    // neighbours keeps its energy. The companion of empty networks is left alone. Stops with a message that
    // names the item at fault or the file.
    void readNetworkFile(const std::string& fileName, SymmStatistics& statistics,
                         std::vector<NNEnsemble>& energy, std::vector<NNEnsemble>& charge) const;

private:
    const Property* property;
    const GeometrySet* geometrySet;
};

} // namespace melta
