#pragma once

#include "config/Property.hpp"
#include "network/NNArch.hpp"
#include "structure/GeometrySet.hpp"
#include "testing/ResultFile.hpp"

#include <string>

namespace melta {

// Names of the files that a test writes.
struct TestFiles {
    std::string etot;  // total energies per atom, eV
    std::string eatom; // atomic energies, eV
    std::string force; // force components, eV/Angstrom
};

// Measures how well a trained network reproduces the data of a set: root mean square errors on the console,
// and tables of reference and network values for plotting.
//
// Energies in the tables are shifted by a reference for each element: without bias the output bias of the
// networks is taken out of both columns, with bias the mean energy that conditioning took from the data is
// put back into both.
class NNTester {
public:
    // Both are borrowed. Stops with "geometrySet is null." and "property is null.".
    NNTester(const Property* property, const GeometrySet* geometrySet);
    virtual ~NNTester() = default;
    NNTester(const NNTester&) = delete;
    NNTester& operator=(const NNTester&) = delete;
    NNTester(NNTester&&) = delete;
    NNTester& operator=(NNTester&&) = delete;

    void setWithBias(bool value) { withBias = value; }

    // The whole test, one geometry after the other. Stops with "cannot open file: %s" and as restoreNN.
    void performTesting(const std::string& networkFile, const TestFiles& files) const;

private:
    struct Errors {
        float etotError = 0.0f; // sums of squares
        float eatomError = 0.0f;
        float forceError = 0.0f;
        int numAtoms = 0;
    };
    struct Tables {
        ResultFile etot;
        ResultFile eatom;
        ResultFile force;
    };

    void testGeometry(NNArch& arch, Geometry& geometry, Errors& errors, Tables& tables) const;
    void printGeometryResults(const NNArch& arch, const Geometry& geometry, Tables& tables) const;
    double referenceOf(const NNArch& arch, int element) const;
    void printErrors(const Errors& errors) const;

    const Property* property;
    const GeometrySet* geometrySet;
    bool withBias = false;
};

} // namespace melta
