// The trained potential: the one door through which a model is evaluated.
#pragma once

#include "melta/Error.hpp"
#include "melta/Evaluation.hpp"
#include "melta/Export.hpp"
#include "melta/NeighborView.hpp"

#include <memory>
#include <string>
#include <vector>

namespace melta {

struct ModelData;
struct PotentialMemory;

// A trained model: networks, descriptors, baseline. It does not change after loading; copies share their
// data, and several threads may evaluate one object at once, each with a workspace of its own. Units:
// Angstrom, eV, eV/Angstrom, e.
//
// Nothing here prints, draws a random number or ends the process. What is wrong is thrown as Error; what does
// not fit into memory as std::bad_alloc.
class MELTA_API Potential {
public:
    // Memory that evaluations keep from one to the next. It grows with the largest evaluation so far and then
    // stays. One caller at a time; it may serve several potentials in turn.
    class MELTA_API Workspace {
    public:
        // For evaluations on the thread that calls.
        Workspace();

        // For evaluations that divide the local atoms among `numThreads` threads of OpenMP, which the caller
        // is one of; the baseline potential stays with the caller. Results depend on this number by rounding,
        // and on nothing else of the threads. With 1 it is as above. Each thread has forces (and the forces
        // of each model, where they are asked for) of its own. Throws Error if the number is below 1, or so
        // large that such a team cannot be made.
        explicit Workspace(int numThreads);

        ~Workspace();
        Workspace(Workspace&& other) noexcept;
        Workspace& operator=(Workspace&& other) noexcept;

    private:
        friend class Potential;
        std::unique_ptr<PotentialMemory> memory;
    };

    // Reads a trained model from its directory (empty: the working directory): "melta.data", "melta.data_e",
    // "melta.data_q" and "melta.class", "ffield.reax" or "melta.zbl" where the head asks for them, and
    // "melta.gdist" where it is present.
    static Potential load(const std::string& directory);

    // Reads an exported force field, a file such as "ffield.melta".
    static Potential read(const std::string& file);

    // Labels of the elements; their order gives the indices of a NeighborView.
    [[nodiscard]] const std::vector<std::string>& elements() const;

    // Index of an element, or -1.
    [[nodiscard]] int elementIndex(const std::string& label) const;

    // Longest distance of a neighbour that acts on an atom's energy, Angstrom: how far lists have to reach.
    [[nodiscard]] double cutoff() const;

    // How far an atom's energy reaches at most, Angstrom, with the baseline: ghosts have to be there up to
    // this distance from each local atom.
    [[nodiscard]] double influenceDistance() const;

    [[nodiscard]] int numModels() const; // networks that are averaged
    [[nodiscard]] bool hasCharges() const;
    [[nodiscard]] bool hasHistograms() const;

    // The kind of descriptors by its word in a properties file, such as "chebyshev", and their number.
    [[nodiscard]] const char* descriptor() const;
    [[nodiscard]] int numDescriptors() const;

    // Range of the raw descriptors of an element in the training data, lowest and highest. Throws for an
    // index that is out of range.
    struct Range {
        double low;
        double high;
    };
    [[nodiscard]] Range descriptorRange(int element) const;

    // Evaluates the local atoms of the view. `result`: overwritten; its arrays take the sizes of the view.
    // Throws if the view is not consistent (an index of an atom or an element that is out of range, a
    // position that is not finite), if descriptors are not finite ("NaN at symmetry functions of the %d -th
    // atom.") and if charges are asked for that the model does not have.
    void evaluate(const NeighborView& view, Wishes wishes, Evaluation& result, Workspace& workspace) const;

private:
    explicit Potential(std::shared_ptr<const ModelData> loaded);

    std::shared_ptr<const ModelData> model;
};

} // namespace melta
