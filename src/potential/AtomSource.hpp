#pragma once

#include "structure/NeighborArrays.hpp"

#include <cstddef>

namespace melta {

// Where an evaluation takes atoms and their neighbours from. Several threads may ask at once.
class AtomSource {
public:
    AtomSource() = default;
    virtual ~AtomSource() = default;
    AtomSource(const AtomSource&) = delete;
    AtomSource& operator=(const AtomSource&) = delete;
    AtomSource(AtomSource&&) = delete;
    AtomSource& operator=(AtomSource&&) = delete;

    // Atoms that there are, neighbours among them.
    [[nodiscard]] virtual std::size_t getNumAtoms() const = 0;

    // Index of the element of an atom.
    [[nodiscard]] virtual std::size_t elementOf(int atom) const = 0;

    // The neighbours of an atom; their indices say where forces go.
    virtual void gather(int atom, NeighborArrays& neighbors) const = 0;

    // Stops with what is to be said of an atom whose descriptors are not finite.
    [[noreturn]] virtual void stopAtDescriptors(int atom) const = 0;
};

} // namespace melta
