#pragma once

#include "baseline/reax/ReaxFieldText.hpp"
#include "baseline/zbl/ZblFile.hpp"
#include "potential/PotentialFixture.hpp"
#include "symmfunc/behler/BehlerKind.hpp"
#include "symmfunc/chebyshev/ChebyshevKind.hpp"
#include "symmfunc/cluster/ClusterKind.hpp"
#include "symmfunc/manybody/ManyBodyKind.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

namespace melta::test {

// A periodic cell for hosts: cell vector a along x, b in the plane of x and y. Angstrom.
struct HostCell {
    std::array<double, 9> cell{};
    std::vector<double> positions;   // [n][3]
    std::vector<std::string> labels; // [n]
};

// What a potential says of a cell, in eV and Angstrom, with the shares of images at their atoms.
struct HostResult {
    double energy = 0.0;
    std::vector<double> energies; // [n]
    std::vector<double> forces;   // [n][3]
    std::array<double, 6> virial{};
    std::vector<double> virials; // [n][6]
};

// Models of all kinds with random networks, as exported force fields, and what Potential says of cells: what
// a host has to give.
class HostFixture : public PotentialFixture {
protected:
    // Exports a model with this kind of descriptors: "chebyshev", "behler", "manyBody" or "cluster", each
    // resolved by element, "chebyshevWeighted", or "manyBodyPairs", many-body functions of pairs alone: those
    // of three atoms depend on the order of the neighbours, which is another one in each host.
    std::string exportKind(const std::string& kind) {
        chooseKind(kind);
        makeModel();
        return exportModel();
    }

    // Exports a model with this baseline: "classical", "reax" or "zbl".
    std::string exportBaseline(const std::string& baseline) {
        if (baseline == "classical") {
            property.withClassical = 1;
            makeModel();
            writeTextFile(file("melta.class"),
                          "2\nO 0.0\nSi 0.0\n"
                          "O O 30.0 -2.0 1.0 -4.0\nO Si 20.0 3.0 -1.0 -2.0\nSi Si 90.0 1.0 -1.0 0.5\n");
            return exportModel(file("melta.class"));
        }
        if (baseline == "reax") {
            property.withReaxFF = 1;
            property.rcutReaxFF = 2.4f;
            makeModel();
            writeTextFile(file("ffield.reax"), makeReaxField().makeText());
            return exportModel(file("ffield.reax"));
        }
        property.kindSettings["withZBL"] = 1.0;
        makeModel();
        writeZblFile(
            file("melta.zbl"),
            std::vector<ZblRadii>{{"O", "O", 1.0, 2.9}, {"O", "Si", 0.5, 2.8}, {"Si", "Si", 1.5, 3.0}});
        return exportModel(file("melta.zbl"));
    }

    // A cell of the data set: four atoms, in a cube that is not much wider than the cutoff.
    [[nodiscard]] HostCell cubicCell() const {
        const Geometry& geometry = *set->geometries.front();
        HostCell cell;
        std::ranges::copy(geometry.lattice, cell.cell.begin());
        cell.positions.assign(geometry.positions.begin(), geometry.positions.end());
        for (const int element : geometry.elements) {
            cell.labels.emplace_back(set->getElementName(element));
        }
        return cell;
    }

    static HostResult evaluate(const Potential& potential, const HostCell& cell) {
        std::vector<int> elements;
        for (const std::string& label : cell.labels) {
            elements.push_back(potential.elementIndex(label));
        }
        const PeriodicView view(cell.cell, cell.positions, elements, potential.influenceDistance());
        Potential::Workspace workspace;
        Evaluation result;
        potential.evaluate(view.view(), Wish::energy | Wish::forces | Wish::virial | Wish::atomVirials,
                           result, workspace);
        HostResult folded{result.energy,
                          {},
                          std::vector<double>(cell.positions.size()),
                          result.virial,
                          std::vector<double>(6 * elements.size())};
        folded.energies.assign(result.energies.begin(),
                               result.energies.begin() + static_cast<std::ptrdiff_t>(elements.size()));
        view.fold(result.forces, folded.forces);
        for (std::size_t i = 0; i < result.atomVirials.size(); ++i) {
            folded.virials[6 * static_cast<std::size_t>(view.owners()[i / 6]) + i % 6] +=
                result.atomVirials[i];
        }
        return folded;
    }

    // `tolerance` relative to the largest number of the kind, and at least to 1.
    static void expectSame(const std::vector<double>& found, const std::vector<double>& expected,
                           const char* what, double tolerance = 2.0e-5) {
        ASSERT_EQ(found.size(), expected.size()) << what;
        double scale = 1.0;
        for (const double number : expected) {
            scale = std::max(scale, std::abs(number));
        }
        for (std::size_t i = 0; i < found.size(); ++i) {
            EXPECT_LE(std::abs(found[i] - expected[i]), tolerance * scale)
                << what << " " << i << ": " << found[i] << " and " << expected[i];
        }
    }

    static void expectSame(const HostResult& found, const HostResult& expected) {
        expectSame({found.energy}, {expected.energy}, "energy");
        expectSame(found.energies, expected.energies, "energies");
        expectSame(found.forces, expected.forces, "forces");
        expectSame({found.virial.begin(), found.virial.end()},
                   {expected.virial.begin(), expected.virial.end()}, "virial");
        expectSame(found.virials, expected.virials, "virials");
    }

private:
    void chooseKind(const std::string& kind) {
        property.elemWeight = kind == "chebyshevWeighted" ? 1 : 0;
        property.tanhCutoff = 1;
        property.m2 = 7;
        property.m3 = kind == "manyBodyPairs" ? 0 : 3;
        property.rinner = 0.0f;
        property.router = 3.4f;
        property.symmFuncKind = kind == "behler"               ? BehlerKind::code
                                : kind.starts_with("manyBody") ? ManyBodyKind::code
                                : kind == "cluster"            ? ClusterKind::code
                                                               : ChebyshevKind::code;
        if (kind == "behler") {
            property.numRadius = 3;
            property.numAngle = 2;
            property.radiusEta = {0.5f, 1.0f, 2.0f};
            property.radiusShift = {0.0f, 1.0f, 2.0f};
            property.angleEta = {0.1f, 0.3f};
            property.angleZeta = {1.0f, 4.0f};
            property.angleShift = {0.0f, 0.5f};
        }
    }
};

} // namespace melta::test
