// Keeping the networks of an arrangement in files, as a run does it. What the files hold: NNIO.hpp.
#pragma once

#include "modelio/CarriedNetworks.hpp"
#include "network/NNEnsemble.hpp"
#include "network/SymmPreparation.hpp"

#include <string>
#include <utility>
#include <vector>

namespace melta {

class FileReplacement;
class GeometrySet;
class NNArch;
class Property;

// The files of the model that a training makes, from its first store to its last: the head and the networks
// that are trained, in each store; and with the first one what goes by the new head, the networks of the
// other kind and the histograms of the symmetry functions, which follow in each store where the training
// changes these; and beside them, where there is one, a note of how far the training has come
// ("melta.data_e.course"). Each store replaces all its files as one; the
// model that stood there before stays whole until the new one is.
//
// Nothing that is not finite is stored: that stops with "the training diverged: %s", and the files stay.
class ModelStore {
public:
    // `fileName`: the head. `geometrySet` is borrowed. Stops with "geometrySet is null.".
    ModelStore(std::string fileName, const GeometrySet* geometrySet);

    // Lets the histograms of the arrangement go to this file with the first store, or with each.
    void addDistributions(std::string fileName) { distrFile = std::move(fileName); }

    // What the following stores write into the note of a training of this kind, a line of text; where it is
    // empty, as in the beginning, they take away what stands there, because it belongs to older networks.
    void setCourse(std::string text) { course = std::move(text); }

    // The note beside the stored networks of this kind; empty where there is none.
    [[nodiscard]] std::string readCourse(const NNArch& arch) const;

    // Name of the file of the note.
    [[nodiscard]] std::string courseFileOf(const NNArch& arch) const;

    // Finds out what becomes of the networks of the other kind, once the ranges of `arch` are known.
    void carryOthers(const NNArch& arch);

    // Stops with "cannot open file: %s" if any of the files cannot be written.
    void requireWritable(const NNArch& arch) const;

    // Reads the files of the model as they are, for keepBeginning.
    void rememberBeginning(const NNArch& arch);

    // Lets the next store keep the files that have been remembered as "FILE.begin", or "FILE.begin.2" and so
    // on where there are such files, and tells it. Once; does nothing without remembered files.
    void keepBeginning();

    // Tells it on the console and stores. Stops with "cannot open file: %s", "cannot write file: %s" (the
    // file concerned), and as above.
    void storeNN(const NNArch& arch);

    // The same for a run that goes on: a file that cannot be written is told on the console, and all files
    // stay as they are.
    void tryStoreNN(const NNArch& arch);

private:
    void store(const NNArch& arch);
    void writeCourse(const NNArch& arch, FileReplacement& files) const;
    void writeFiles(const NNArch& arch, FileReplacement& files) const;
    void printWhatElse();

    std::string headFile;
    const GeometrySet* set;
    std::string distrFile; // empty: no histograms
    std::string course;    // the note of the course; empty: none
    CarriedNetworks others;
    bool hasStored = false; // what only the first store writes is there

    std::vector<std::pair<std::string, std::string>> beginning; // names and contents
    std::string beginSuffix; // of the names under which they are kept, once that is wanted
};

// Tells it on the console and writes the model of `arch` under `fileName`, as ModelStore does, and nothing
// beside it. Stops with "geometrySet is null." and as ModelStore::storeNN.
void storeNN(const NNArch& arch, const std::string& fileName, const GeometrySet* geometrySet);

// Fills the networks of `arch` and its ranges of symmetry functions, after initLayers, from the model under
// `fileName`. With `checkFiles` a set of files that is not complete is told on the console and leaves `arch`
// as it is; then it gives false. Stops with "geometrySet is null." and as NNIO::readNetworkFile.
bool restoreNN(NNArch& arch, const std::string& fileName, const GeometrySet* geometrySet, bool checkFiles);

// The same for networks without an arrangement, from files that have to be complete. Stops as
// NNIO::readNetworkFile.
void restoreNetworks(const Property& property, const GeometrySet& geometrySet, const std::string& fileName,
                     SymmStatistics& statistics, std::vector<NNEnsemble>& energy,
                     std::vector<NNEnsemble>& charge);

} // namespace melta
