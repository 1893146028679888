#pragma once

#include "melta/NeighborView.hpp"
#include "potential/AtomSource.hpp"

#include <cstdint>
#include <span>
#include <vector>

namespace melta {

// The atoms of a host, checked. Keeps its memory from view to view.
class ViewAtoms final : public AtomSource {
public:
    // Takes what `source` points to, which is borrowed, as atomNumbers [numElems] are. `cutoff`: beyond it
    // nobody is a neighbour, Angstrom. Stops with "incorrect view: %s" if any index in the view, of an
    // element, an atom or a neighbour, is out of range or a list is missing.
    void update(const NeighborView& source, std::span<const std::int32_t> atomNumbers, float cutoff);

    [[nodiscard]] std::size_t getNumAtoms() const override;
    [[nodiscard]] std::size_t elementOf(int atom) const override; // of a known one
    void gather(int atom, NeighborArrays& neighbors) const override;

    // With "NaN at symmetry functions of the %d -th atom.".
    [[noreturn]] void stopAtDescriptors(int atom) const override;

    // The local atoms whose element is known.
    [[nodiscard]] std::span<const int> atoms() const { return known; }

private:
    NeighborView view;
    std::span<const std::int32_t> atomNumbers;
    float cutoff = 0.0f;
    std::vector<int> listOf; // [numLocal]
    std::vector<int> known;
};

} // namespace melta
