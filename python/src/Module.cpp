// The module melta._core: what Python sees of libmelta, with arrays checked and the interpreter's lock
// released. The package around it (potential.py) says what users may do with it.
#include "Structure.hpp"
#include "StructureEvaluator.hpp"

#include "structure/ElementSymbols.hpp"
#include "structure/Units.hpp"

#include <melta/Error.hpp>
#include <melta/Potential.hpp>
#include <melta/Version.hpp>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <array>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace py = pybind11;

namespace melta::python {
namespace {

// Arrays of another layout or type are converted, those that fit are not copied.
using DoubleArray = py::array_t<double, py::array::c_style | py::array::forcecast>;
using IntArray = py::array_t<int, py::array::c_style | py::array::forcecast>;

Potential openPotential(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::is_directory(path, ignored) ? Potential::load(path) : Potential::read(path);
}

Structure structureOf(const DoubleArray& cell, const DoubleArray& positions, const IntArray& elements) {
    if (cell.ndim() != 2 || cell.shape(0) != 3 || cell.shape(1) != 3) {
        throw py::value_error("cell has to have the shape (3, 3)");
    }
    if (positions.ndim() != 2 || positions.shape(1) != 3) {
        throw py::value_error("positions have to have the shape (n, 3)");
    }
    if (elements.ndim() != 1 || elements.shape(0) != positions.shape(0)) {
        throw py::value_error("numbers have to have the shape (n,)");
    }
    return {.cell = {cell.data(), 9},
            .positions = {positions.data(), static_cast<std::size_t>(positions.size())},
            .elements = {elements.data(), static_cast<std::size_t>(elements.size())}};
}

// The array takes over the memory of the vector.
template <class Value>
py::array arrayOf(std::vector<Value> values, const std::vector<py::ssize_t>& shape) {
    auto owner = std::make_unique<std::vector<Value>>(std::move(values));
    const Value* data = owner->data();
    const py::capsule base(owner.get(), [](void* memory) {
        const std::unique_ptr<std::vector<Value>> taken(static_cast<std::vector<Value>*>(memory));
    });
    static_cast<void>(owner.release()); // the capsule's from here on
    return py::array_t<Value>(shape, data, base);
}

py::dict dictOf(Results results, Wishes wishes, py::ssize_t numDescriptors) {
    const auto numModels = static_cast<py::ssize_t>(results.modelEnergies.size());
    const auto numAtoms = [](std::size_t length, py::ssize_t width) {
        return static_cast<py::ssize_t>(length) / width;
    };
    py::dict dict;
    if (wishes.has(Wish::energy)) {
        dict["energy"] = results.energy;
        const py::ssize_t n = numAtoms(results.energies.size(), 1);
        dict["energies"] = arrayOf(std::move(results.energies), {n});
    }
    if (wishes.has(Wish::forces)) {
        const py::ssize_t n = numAtoms(results.forces.size(), 3);
        dict["forces"] = arrayOf(std::move(results.forces), {n, 3});
    }
    if (wishes.has(Wish::virial)) {
        dict["virial"] = arrayOf(std::vector<double>(results.virial.begin(), results.virial.end()), {6});
    }
    if (wishes.has(Wish::atomVirials)) {
        const py::ssize_t n = numAtoms(results.virials.size(), 6);
        dict["virials"] = arrayOf(std::move(results.virials), {n, 6});
    }
    if (wishes.has(Wish::charges)) {
        const py::ssize_t n = numAtoms(results.charges.size(), 1);
        dict["charges"] = arrayOf(std::move(results.charges), {n});
    }
    if (wishes.has(Wish::modelEnergies)) {
        dict["energy_std"] = results.energyDeviation;
        dict["model_energies"] = arrayOf(std::move(results.modelEnergies), {numModels});
    }
    if (wishes.has(Wish::modelForces)) {
        const py::ssize_t n = numAtoms(results.forceDeviations.size(), 1);
        const py::ssize_t models = n > 0 ? numAtoms(results.modelForces.size(), 3 * n) : 0;
        dict["forces_std"] = arrayOf(std::move(results.forceDeviations), {n});
        dict["model_forces"] = arrayOf(std::move(results.modelForces), {models, n, 3});
    }
    if (wishes.has(Wish::novelty)) {
        const py::ssize_t n = numAtoms(results.novelty.size(), 1);
        dict["novelty"] = arrayOf(std::move(results.novelty), {n}).attr("view")("bool");
        dict["excess"] = results.excess;
    }
    if (wishes.has(Wish::descriptors)) {
        const py::ssize_t n = numAtoms(results.descriptors.size(), numDescriptors);
        dict["descriptors"] = arrayOf(std::move(results.descriptors), {n, numDescriptors});
    }
    return dict;
}

Wishes wishesOf(const std::vector<Wish>& listed) {
    Wishes wishes;
    for (const Wish wish : listed) {
        wishes = wishes | wish;
    }
    return wishes;
}

py::dict evaluateOne(StructureEvaluator& evaluator, const DoubleArray& positions, const IntArray& elements,
                     const DoubleArray& cell, const std::vector<Wish>& listed) {
    const Structure structure = structureOf(cell, positions, elements);
    const Wishes wishes = wishesOf(listed);
    Results results;
    {
        const py::gil_scoped_release released;
        results = evaluator.evaluate(structure, wishes);
    }
    return dictOf(std::move(results), wishes, evaluator.numDescriptors());
}

struct Arrays {
    DoubleArray positions;
    IntArray elements;
    DoubleArray cell;
};

py::list evaluateMany(const Potential& potential, const std::vector<py::tuple>& listed,
                      const std::vector<Wish>& listedWishes, int numThreads) {
    if (numThreads < 1) {
        throw py::value_error("threads have to be positive");
    }
    std::vector<Arrays> arrays;
    std::vector<Structure> structures;
    for (const py::tuple& one : listed) {
        if (one.size() != 3) {
            throw py::value_error("a structure is (positions, elements, cell)");
        }
        arrays.push_back({one[0].cast<DoubleArray>(), one[1].cast<IntArray>(), one[2].cast<DoubleArray>()});
    }
    for (const Arrays& one : arrays) {
        structures.push_back(structureOf(one.cell, one.positions, one.elements));
    }
    const Wishes wishes = wishesOf(listedWishes);
    std::vector<Results> results;
    {
        const py::gil_scoped_release released;
        results = evaluateAll(potential, structures, wishes, numThreads);
    }
    py::list dicts;
    for (Results& one : results) {
        dicts.append(dictOf(std::move(one), wishes, potential.numDescriptors()));
    }
    return dicts;
}

void defineWishes(py::module_& module) {
    py::enum_<Wish>(module, "Wish")
        .value("energy", Wish::energy)
        .value("forces", Wish::forces)
        .value("virial", Wish::virial)
        .value("atom_virials", Wish::atomVirials)
        .value("charges", Wish::charges)
        .value("model_energies", Wish::modelEnergies)
        .value("model_forces", Wish::modelForces)
        .value("novelty", Wish::novelty)
        .value("descriptors", Wish::descriptors);
}

void definePotential(py::module_& module) {
    py::class_<Potential>(module, "Potential")
        .def(py::init(&openPotential), py::call_guard<py::gil_scoped_release>())
        .def_property_readonly("elements", &Potential::elements)
        .def_property_readonly("cutoff", &Potential::cutoff)
        .def_property_readonly("influence_distance", &Potential::influenceDistance)
        .def_property_readonly("num_models", &Potential::numModels)
        .def_property_readonly("has_charges", &Potential::hasCharges)
        .def_property_readonly("has_histograms", &Potential::hasHistograms)
        .def_property_readonly("descriptor", &Potential::descriptor)
        .def_property_readonly("num_descriptors", &Potential::numDescriptors);
    py::class_<StructureEvaluator>(module, "Evaluator")
        .def(py::init<Potential, double>())
        .def_property_readonly("builds", &StructureEvaluator::numBuilds,
                               py::call_guard<py::gil_scoped_release>())
        .def("evaluate", &evaluateOne);
    module.def("evaluate_many", &evaluateMany);
}

void defineUnits(py::module_& module) {
    module.attr("BOHR") = static_cast<double>(units::bohr);
    module.attr("RYDBERG") = units::rydbergOfTotal;
    module.attr("RYDBERG_OF_ATOMS") = units::rydbergOfAtoms;
    module.attr("RYDBERG_PER_BOHR") = static_cast<double>(units::rydbergPerBohr);
    module.attr("RYDBERG_PER_CUBIC_BOHR") = units::rydbergPerCubicBohr;
}

} // namespace

PYBIND11_MODULE(_core, module) {
    py::register_exception<Error>(module, "Error", PyExc_RuntimeError);
    defineWishes(module);
    definePotential(module);
    defineUnits(module);
    module.def("version", &version);
    module.def("atomic_number", &findAtomicNumber);
}

} // namespace melta::python
