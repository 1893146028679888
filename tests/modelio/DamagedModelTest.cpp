#include "modelio/ModelFiles.hpp"
#include "symmfunc/behler/BehlerKind.hpp"
#include "symmfunc/manybody/ManyBodyKind.hpp"

#include <array>
#include <random>

namespace melta {
namespace {

using test::Model;
using test::readTextFile;
using test::writeTextFile;

// Random damage to the files of a model. Most of it stops, some of it passes; none may do anything else,
// which the sanitizers see best.
class DamagedModel : public test::ModelFiles {
protected:
    // Changes, inserts, cuts out or cuts off.
    void damage(std::string& text) {
        static const std::array<std::string, 10> bits = {
            "999999999999", "-1", "nan", "2000000000", "1e39", "127", "\n", std::string(1, '\0'), " ", "%s"};
        const std::size_t position = random() % text.size();
        const std::string& bit = bits[random() % bits.size()];
        switch (random() % 4) {
        case 0:
            text[position] = static_cast<char>(random() % 256);
            break;
        case 1:
            text.insert(position, bit);
            break;
        case 2:
            text.replace(position, random() % 20, bit);
            break;
        default:
            text.resize(position + 1);
            break;
        }
    }

    // Reads damaged copies of a model for a set with other elements and counts the stops.
    int stopsOfDamage(int numTrials) {
        Model model;
        fill(model, {"A", "B"}, 1);
        write(model);
        const std::string head = readTextFile(headName);
        const std::string companion = readTextFile(energyName);
        Model reader;
        fill(reader, {"B", "C"}, 100);
        int numStops = 0;
        for (int i = 0; i < numTrials; ++i) {
            std::string damagedHead = head;
            std::string damagedCompanion = companion;
            damage(i % 4 == 0 ? damagedCompanion : damagedHead);
            writeTextFile(headName, damagedHead);
            writeTextFile(energyName, damagedCompanion);
            numStops += stopOfReading(reader) == "(no stop)" ? 0 : 1;
        }
        return numStops;
    }

    std::mt19937 random{20240229};
};

constexpr int numTrials = 300;

TEST_F(DamagedModel, StopsOrPassesForChebyshev) {
    const int numStops = stopsOfDamage(numTrials);

    EXPECT_GE(numStops, numTrials / 4);
    EXPECT_LT(numStops, numTrials);
}

TEST_F(DamagedModel, StopsOrPassesForBehler) {
    property.symmFuncKind = BehlerKind::code;
    property.radiusEta = property.radiusShift = {1.0f, 2.0f, 3.0f};
    property.angleEta = property.angleZeta = property.angleShift = {1.0f, 2.0f};

    const int numStops = stopsOfDamage(numTrials);

    EXPECT_GE(numStops, numTrials / 4);
    EXPECT_LT(numStops, numTrials);
}

TEST_F(DamagedModel, StopsOrPassesForManyBodyWithReaxFFAndCharges) {
    property.symmFuncKind = ManyBodyKind::code;
    property.withReaxFF = 1;
    property.withCharge = 1;

    const int numStops = stopsOfDamage(numTrials);

    EXPECT_GE(numStops, numTrials / 4);
    EXPECT_LT(numStops, numTrials);
}

} // namespace
} // namespace melta
