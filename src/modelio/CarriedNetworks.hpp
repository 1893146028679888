#pragma once

#include "network/NNEnsemble.hpp"

#include <string>
#include <vector>

namespace melta {

class FileReplacement;
class GeometrySet;
class NNArch;
struct NetworkKind;
struct StoredHead;

// The networks of a model that its training leaves alone: those of charges in a training of energies, and
// the other way round. Their companion goes by the head, which the training writes anew, with the elements
// and ranges of its data. So the companion has to follow: its networks are read by the old head, taken over
// to the new elements and ranges so that they keep their function, and written together with the new head.
// Elements that have no networks yet get fresh ones, as a first training would make them.
//
// Networks that mean nothing under the new head, because the symmetry functions, the baseline or their own
// shape are others, or because no head tells what they are, are set aside: their file gets another name.
class CarriedNetworks {
public:
    // Nothing to carry.
    CarriedNetworks() = default;

    // What has to be done when the networks of `arch`, whose ranges are known, take the place of the model
    // under `headName`. Reads and allocates; the files stay as they are. `geometrySet` is borrowed.
    CarriedNetworks(const NNArch& arch, const std::string& headName, const GeometrySet* geometrySet);

    // Adds what has to be done to a set of files: the companion, if it changes, or its other name.
    void write(FileReplacement& files) const;

    // Tells the user about a companion that has been set aside.
    void printSetAside() const;

private:
    void carry(const NNArch& arch, const StoredHead& head);

    const NetworkKind* kind = nullptr;
    const GeometrySet* set = nullptr;
    std::string fileName;              // the companion
    std::string otherName;             // it gets when it is set aside; else empty
    std::vector<NNEnsemble> ensembles; // the networks under the new head; empty where the file stays
};

} // namespace melta
