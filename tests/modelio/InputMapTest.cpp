#include "symmfunc/InputMap.hpp"

#include "config/SymmFuncKind.hpp"
#include "modelio/ModelFiles.hpp"
#include "symmfunc/behler/BehlerKind.hpp"
#include "symmfunc/manybody/ManyBodyKind.hpp"

namespace melta {
namespace {

using Elements = std::vector<std::string>;

class Maps : public test::ModelFiles {
protected:
    // The map from the layout of one list of elements to that of another.
    [[nodiscard]] InputMap mapOf(const Elements& from, const Elements& to) const {
        std::vector<int> mapOfElems;
        for (const std::string& element : from) {
            const auto found = std::ranges::find(to, element);
            mapOfElems.push_back(found == to.end() ? -1 : static_cast<int>(found - to.begin()));
        }
        return symmFuncKindOf(property).mapInputs(property, mapOfElems, static_cast<int>(to.size()));
    }

    // Each input keeps its meaning: where all elements of both lists occur, values follow the map; inputs
    // without a partner are listed, and are the ones that elements of one list alone have.
    void expectSameMeaning(const Elements& from, const Elements& to) const {
        const InputMap map = mapOf(from, to);
        Elements all = from;
        Elements common;
        for (const std::string& element : to) {
            const bool isCommon = std::ranges::find(from, element) != from.end();
            (isCommon ? common : all).push_back(element);
        }
        const std::vector<float> source = test::RawInputs(property, all).layOut(from);
        const std::vector<float> target = test::RawInputs(property, all).layOut(to);
        ASSERT_EQ(map.targets.size(), source.size());
        std::vector<bool> isReached(target.size(), false);
        std::vector<int> dropped;
        for (std::size_t i = 0; i < source.size(); ++i) {
            if (map.targets[i] < 0) {
                dropped.push_back(static_cast<int>(i));
                continue;
            }
            const auto t = static_cast<std::size_t>(map.targets[i]);
            ASSERT_LT(t, target.size());
            EXPECT_EQ(target[t], source[i]) << i;
            EXPECT_FALSE(isReached[t]) << i;
            isReached[t] = true;
        }
        EXPECT_EQ(map.dropped, dropped);
        EXPECT_EQ(static_cast<std::size_t>(std::ranges::count(isReached, true)),
                  test::RawInputs(property, {}).layOut(common).size());
        for (const int input : map.added) {
            EXPECT_FALSE(isReached[static_cast<std::size_t>(input)]) << input;
        }
        EXPECT_EQ(map.added.size() + source.size() - dropped.size(), target.size());
    }

    void expectSameMeaningOfAllLists() const {
        expectSameMeaning({"A", "B", "C"}, {"A", "B", "C"});
        expectSameMeaning({"A", "B", "C"}, {"C", "A", "B"});
        expectSameMeaning({"A", "B", "C"}, {"C", "A"});
        expectSameMeaning({"B"}, {"C", "B", "A"});
        expectSameMeaning({"A", "B", "C"}, {"D", "C", "A"});
        expectSameMeaning({"A", "B"}, {"D", "C"});
    }
};

TEST_F(Maps, KeepsTheMeaningOfChebyshev) {
    expectSameMeaningOfAllLists();
}

TEST_F(Maps, KeepsTheMeaningOfBehler) {
    property.symmFuncKind = BehlerKind::code;

    expectSameMeaningOfAllLists();
}

TEST_F(Maps, KeepsTheMeaningOfManyBody) {
    property.symmFuncKind = ManyBodyKind::code;

    expectSameMeaningOfAllLists();
}

TEST_F(Maps, HandlesFunctionsWithoutAngularPart) {
    property.numAngle = 0;
    property.m3 = 0;
    expectSameMeaningOfAllLists();

    property.symmFuncKind = ManyBodyKind::code;
    expectSameMeaningOfAllLists();
}

TEST_F(Maps, SwapsTheSidesOfAPairWithItsElements) {
    property.numRadius = 1;
    property.numAngle = 1;

    const InputMap map = mapOf({"A", "B"}, {"B", "A"});

    // A, B, AA, AB, BB
    EXPECT_EQ(map.targets, (std::vector<int>{1, 0, 4, 3, 2}));
    EXPECT_TRUE(map.dropped.empty());
    EXPECT_TRUE(map.added.empty());
}

TEST_F(Maps, CountsInputs) {
    EXPECT_EQ(symmFuncKindOf(property).countInputs(property, 3), 3.0 * 3 + 2.0 * 6);
    property.symmFuncKind = BehlerKind::code;
    EXPECT_EQ(symmFuncKindOf(property).countInputs(property, 3), 3.0 * 3 + 4.0 * 6);
    property.symmFuncKind = ManyBodyKind::code;
    EXPECT_EQ(symmFuncKindOf(property).countInputs(property, 3), 3.0 * 3 + 2.0 * (6 * 7 / 2));
}

TEST_F(Maps, CountsWhatNoWholeNumberHolds) {
    property.symmFuncKind = ManyBodyKind::code;
    property.m3 = 2000000000;

    EXPECT_GE(symmFuncKindOf(property).countInputs(property, 127), 1.0e30);
}

} // namespace
} // namespace melta
