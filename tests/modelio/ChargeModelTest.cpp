// Models with charge networks, and what their files hold.
#include "modelio/ModelFiles.hpp"
#include "network/EnsembleFixture.hpp"

#include <sstream>

namespace melta {
namespace {

using test::Model;
using test::readTextFile;
using test::stopMessageOf;
using test::writeTextFile;

class ChargeModel : public test::ModelFiles {
protected:
    ChargeModel() {
        property.withCharge = 1;
        property.modelsCharge = 3;
        property.layersCharge = 1;
        property.nodesCharge = 2;
    }

    void fillCharges(Model& model, const std::vector<std::string>& elements, unsigned seed) {
        fill(model, elements, seed);
        for (std::size_t e = 0; e < elements.size(); ++e) {
            const int numInputs = model.energy[e].getNumInp();
            NNEnsemble& ensemble =
                model.charge.emplace_back(NNShape{property.modelsCharge, property.layersCharge,
                                                  property.nodesCharge, property.activCharge},
                                          numInputs, false, false);
            ensemble.initWeight(0.7f, 0.3f);
            test::randomizeBiases(ensemble, seed + 50);
        }
    }

    static std::vector<double> numbersOf(const std::string& text) {
        std::istringstream stream(text);
        std::vector<double> numbers;
        for (double number = 0.0; stream >> number;) {
            numbers.push_back(number);
        }
        return numbers;
    }
};

TEST_F(ChargeModel, WritesTheChargesWithoutTheMeanEnergy) {
    Model model;
    fillCharges(model, {"B", "A"}, 1);

    write(model);

    // 3 models of 3 + 2 inputs for each element and pair, 2 nodes, 1 output, all with biases.
    const std::vector<double> numbers = numbersOf(readTextFile(chargeName));
    const std::size_t perModel = (3 * 2 + 2 * 3) * 2 + 2 + 2 + 1;
    ASSERT_EQ(numbers.size(), 2 * 3 * perModel);
    for (std::size_t m = 0; m < 3; ++m) {
        EXPECT_NEAR(numbers[(m + 1) * perModel - 1],
                    static_cast<double>(model.charge[0].getLastLayer().biasOf(static_cast<int>(m)).front()),
                    1.0e-7);
    }
}

TEST_F(ChargeModel, ReadsWhatItWrote) {
    Model model;
    fillCharges(model, {"B", "A"}, 1);
    write(model);
    Model copy;
    fillCharges(copy, {"B", "A"}, 100);

    read(copy);

    for (std::size_t e = 0; e < 2; ++e) {
        EXPECT_EQ(parametersOf(copy.energy[e]), parametersOf(model.energy[e]));
        EXPECT_EQ(parametersOf(copy.charge[e]), parametersOf(model.charge[e]));
    }
}

TEST_F(ChargeModel, FindsTheElementsByName) {
    property.elemWeight = 1; // so that the inputs do not depend on the order
    Model model;
    fillCharges(model, {"A", "B"}, 1);
    write(model);
    Model copy;
    fillCharges(copy, {"B", "A"}, 100);

    read(copy);

    EXPECT_EQ(parametersOf(copy.charge[0]), parametersOf(model.charge[1]));
    EXPECT_EQ(parametersOf(copy.charge[1]), parametersOf(model.charge[0]));
}

TEST_F(ChargeModel, StopsWithoutItsCompanion) {
    Model model;
    fillCharges(model, {"A"}, 1);
    write(model);
    std::filesystem::remove(chargeName);

    EXPECT_EQ(stopOfReading(model), "cannot open file: " + chargeName);
}

TEST_F(ChargeModel, StopsAtADamagedCompanion) {
    Model model;
    fillCharges(model, {"A"}, 1);
    write(model);
    const std::string text = readTextFile(chargeName);
    const std::size_t lastNumber = text.find_last_not_of(" \n");

    writeTextFile(chargeName, text.substr(0, text.rfind(' ', lastNumber)));
    EXPECT_EQ(stopOfReading(model), "cannot scan neural network @bias");
    writeTextFile(chargeName, "x" + text);
    EXPECT_EQ(stopOfReading(model), "cannot scan neural network @weight");
}

TEST_F(ChargeModel, LeavesTheChargesAloneWithoutNetworks) {
    Model model;
    fillCharges(model, {"A"}, 1);
    model.charge.clear();
    writeTextFile(chargeName, "untouched");

    write(model);
    read(model);

    EXPECT_EQ(readTextFile(chargeName), "untouched");
}

TEST_F(ChargeModel, StopsWhereAnElementHasNoNetworks) {
    Model model;
    fillCharges(model, {"A", "B"}, 1);
    model.charge.pop_back();

    EXPECT_EQ(stopMessageOf([&] { write(model); }), "index of element is out of range.");
}

} // namespace
} // namespace melta
