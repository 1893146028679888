// A small host: reads a model and a cell, and prints what the model says of it.
//
// usage: consumer <directory of the model> < cell
// cell: number of atoms, nine numbers of the cell vectors, and for each atom a label and three coordinates.

#include <melta/PeriodicView.hpp>
#include <melta/Potential.hpp>
#include <melta/Version.hpp>

#include <array>
#include <cstdio>
#include <iostream>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    try {
        const auto potential = melta::Potential::load(argc > 1 ? argv[1] : ".");
        std::size_t numAtoms = 0;
        std::array<double, 9> cell{};
        std::cin >> numAtoms;
        for (double& number : cell) {
            std::cin >> number;
        }
        std::vector<int> elements;
        std::vector<double> positions;
        for (std::size_t i = 0; i < numAtoms; ++i) {
            std::string label;
            std::array<double, 3> place{};
            std::cin >> label >> place[0] >> place[1] >> place[2];
            elements.push_back(potential.elementIndex(label));
            positions.insert(positions.end(), place.begin(), place.end());
        }
        const melta::PeriodicView atoms(cell, positions, elements, potential.influenceDistance());
        melta::Potential::Workspace workspace;
        melta::Evaluation result;
        potential.evaluate(atoms.view(), melta::Wish::energy | melta::Wish::forces | melta::Wish::virial,
                           result, workspace);
        std::vector<double> forces(3 * numAtoms);
        atoms.fold(result.forces, forces);
        std::printf("version %s\nenergy %.10f\n", melta::version(), result.energy);
        for (std::size_t i = 0; i < numAtoms; ++i) {
            std::printf("force %.8f %.8f %.8f\n", forces[3 * i], forces[3 * i + 1], forces[3 * i + 2]);
        }
        std::printf("virial");
        for (const double part : result.virial) {
            std::printf(" %.8f", part);
        }
        std::printf("\n");
    } catch (const melta::Error& error) {
        std::printf("error %s\n", error.what());
        return 2;
    }
    return 0;
}
