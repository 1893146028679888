#pragma once

#include "melta/NeighborView.hpp"
#include "structure/NeighborArrays.hpp"

#include <span>
#include <vector>

namespace melta {

class Geometry;

// Where an evaluation takes its atoms from. Several threads may ask at once.
class AtomSource {
public:
    AtomSource() = default;
    virtual ~AtomSource() = default;
    AtomSource(const AtomSource&) = delete;
    AtomSource& operator=(const AtomSource&) = delete;
    AtomSource(AtomSource&&) = delete;
    AtomSource& operator=(AtomSource&&) = delete;

    // Index of the element of an atom.
    [[nodiscard]] virtual std::size_t elementOf(int atom) const = 0;

    // The neighbours of an atom; their indices say where forces go.
    virtual void gather(int atom, NeighborArrays& neighbors) const = 0;
};

// The atoms of a periodic geometry, whose neighbour lists must be there: images are the atoms themselves.
// `elementMap`: for each element of the geometry's set its index in the potential.
class GeometrySource final : public AtomSource {
public:
    explicit GeometrySource(const Geometry& source) : geometry(source) {}

    [[nodiscard]] std::size_t elementOf(int atom) const override;
    void gather(int atom, NeighborArrays& neighbors) const override;

private:
    const Geometry& geometry;
};

// The atoms of a host. `elements` of the view count in the order of the potential.
class ViewSource final : public AtomSource {
public:
    // Borrows both. `cutoff`: beyond it nobody is a neighbour, Angstrom. Stops with "incorrect view: %s" if
    // any index in the view, of an element, an atom or a neighbour, is out of range or a list is missing.
    ViewSource(const NeighborView& source, std::span<const std::int32_t> atomNumbers, float cutoff);

    [[nodiscard]] std::size_t elementOf(int atom) const override;
    void gather(int atom, NeighborArrays& neighbors) const override;

    // The local atoms whose element is known.
    [[nodiscard]] std::span<const int> atoms() const { return known; }

private:
    const NeighborView& view;
    std::span<const std::int32_t> atomNumbers;
    float cutoff;
    std::vector<int> listOf; // [numLocal]
    std::vector<int> known;
};

} // namespace melta
