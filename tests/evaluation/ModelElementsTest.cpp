#include "evaluation/ModelElements.hpp"

#include "potential/PotentialFixture.hpp"

namespace melta {
namespace {

class ModelElementsTest : public test::PotentialFixture {
protected:
    // A model whose elements have these labels.
    ModelElements elementsOf(const std::vector<std::string>& labels) {
        const std::vector<std::string> symbols{"Fe", "Si", "O"};
        set = test::makeSet(property, test::makeDataText({.numGeoms = 4, .labels = symbols, .seed = 40}));
        set->elemNames = labels;
        arch = std::make_unique<NNArch>(NNArch::onlyEnergy, set->numElems, &property, false, false);
        test::outputOf([this] { arch->initLayers(set.get()); });
        test::prepareStatistics(*arch, *set);
        test::outputOf([this] { storeNN(*arch, file("melta.data"), set.get()); });
        return ModelElements(Potential::load(directory.path()));
    }
};

TEST_F(ModelElementsTest, FindsLabelsAndSymbols) {
    ModelElements elements = elementsOf({"Fe", "Si", "O"});

    EXPECT_EQ(elements.indexOf("Si"), 1);
    EXPECT_EQ(elements.indexOf("O"), 2);
    EXPECT_EQ(elements.indexOf("O_12"), 2);
    EXPECT_EQ(elements.indexOf("Si3"), 1);
    EXPECT_EQ(elements.indexOf("S"), -1);
    EXPECT_EQ(elements.indexOf("Xx"), -1);
    EXPECT_EQ(elements.indexOf("si"), -1);
}

TEST_F(ModelElementsTest, TakesTheOnlyElementOfANumber) {
    property.elemWeight = 0;
    ModelElements elements = elementsOf({"Fe1", "Fe2", "O1"});

    EXPECT_EQ(elements.indexOf("Fe2"), 1);
    EXPECT_EQ(elements.indexOf("O"), 2);
    EXPECT_EQ(elements.indexOf("O7"), 2);
    EXPECT_EQ(elements.indexOf("Fe"), -1);
    EXPECT_EQ(elements.indexOf("Fe3"), -1);
}

} // namespace
} // namespace melta
