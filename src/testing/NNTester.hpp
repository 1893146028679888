#pragma once

#include "baseline/BaselineStress.hpp"
#include "config/Property.hpp"
#include "network/LossTerm.hpp"
#include "potential/ModelData.hpp"
#include "structure/BaselinePotential.hpp"
#include "structure/GeometrySet.hpp"
#include "testing/GeometryPredictor.hpp"
#include "testing/ResultFile.hpp"
#include "testing/WorstGeometries.hpp"

#include <array>
#include <optional>
#include <string>
#include <vector>

namespace melta {

// Names of the files that a test writes.
struct TestFiles {
    std::string etot;   // total energies per atom, eV
    std::string eatom;  // atomic energies, eV
    std::string force;  // force components, eV/Angstrom
    std::string charge; // charges, e; of models with charge networks
    std::string stress; // stress components, GPa; of data with stress
    std::string worst;  // the geometries, see WorstGeometries
};

// Measures how well a trained network reproduces the data of a set: root mean square errors on the console,
// and tables of reference and network values for plotting.
//
// Stress is tested where the data have it; geometries without it stand in no line of its table.
//
// Energies in the tables are shifted by a reference for each element: without bias the output bias of the
// networks is taken out of both columns, with bias the mean energy that conditioning took from the data is
// put back into both. Tables show a baseline potential in both columns, errors are without it.
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

    // The whole test, one geometry after the other. A baseline potential of the model, with parameters from
    // `baselineFile`, is taken out of each geometry's data, for good. Stops with "cannot open file: %s", as
    // restoreModel, makeBaseline and GeometryPredictor.
    void performTesting(const std::string& networkFile, const std::string& baselineFile,
                        const TestFiles& files) const;

private:
    // What a test works with, geometry by geometry.
    struct Model {
        const ModelData& networks;
        BaselinePotential* baseline;                  // null without one
        std::optional<BaselineStress> baselineStress; // of data with stress
        GeometryPredictor predictor;                  // of the networks
    };
    // Energies, forces and stress of the baseline potential of one geometry; -0 without one.
    struct BaselineValues {
        float total;
        std::vector<float> energies;
        std::vector<float> forces;
        std::array<float, 6> stress;
    };
    struct Tables {
        ResultFile etot;
        ResultFile eatom;
        ResultFile force;
        std::optional<ResultFile> charge; // of models with charge networks
        std::optional<ResultFile> stress; // of data with stress
        WorstGeometries worst;

        void close(const std::string& worstFile);
    };

    [[nodiscard]] bool withCharge() const { return property->withCharge != 0; }
    Tables openTables(const TestFiles& files) const;
    void testGeometry(Model& model, Geometry& geometry, std::span<QuantityError> errors,
                      Tables& tables) const;
    [[nodiscard]] std::optional<BaselineStress> makeBaselineStress(const std::string& baselineFile) const;
    static BaselineValues baselineOf(const Model& model, const Geometry& geometry);
    void printGeometryResults(const Model& model, const Geometry& geometry, const Prediction& prediction,
                              Tables& tables) const;
    static void printStress(const Geometry& geometry, const Prediction& prediction,
                            const BaselineValues& baseline, ResultFile& table);
    double referenceOf(const ModelData& networks, int element) const;
    std::vector<QuantityError> makeErrors() const;

    const Property* property;
    const GeometrySet* geometrySet;
    bool withBias = false;
};

} // namespace melta
