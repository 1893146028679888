#include "modelio/ModelStore.hpp"

#include "modelio/ModelFiles.hpp"
#include "network/NNArch.hpp"
#include "structure/DataFileText.hpp"

#include <memory>

namespace melta {
namespace {

using test::outputOf;
using test::readTextFile;
using test::stopMessageOf;
using test::writeTextFile;

// One atom (Bohr, Ry) for a data file.
std::string atomAt(const std::string& label, const std::string& position, const std::string& energy) {
    return label + " " + position + " " + energy + " 0 0 0 0 0 0 0 0\n";
}

std::string blockOfSilicon() {
    return "3 1 -24.5\n" + test::cubicCell() + atomAt("Si", "0 0 0", "-8.1") +
           atomAt("Si", "4.4 0.3 0", "-8.2") + atomAt("Si", "1.0 4.5 0.2", "-8.2");
}

std::string blockOfBoth() {
    return "4 1 -80.2\n" + test::cubicCell() + atomAt("O", "0 0 0", "-31.9") +
           atomAt("Si", "3.1 0.2 0", "-8.3") + atomAt("O", "3.5 3.2 0.4", "-31.7") +
           atomAt("Si", "0.3 4.4 4.1", "-8.3");
}

// Arrangements on two data sets: silicon alone, and oxygen with silicon.
class Store : public test::ModelFiles {
protected:
    Store() {
        property.rcutRadius = 4.0f;
        property.rcutAngle = 4.0f;
        property.activEnergy = Activation::twtanh;
        readSet(silicon, blockOfSilicon());
        readSet(both, blockOfBoth() + blockOfSilicon());
    }

    void readSet(GeometrySet& set, const std::string& text) {
        writeTextFile(directory.file("data"), text);
        set.readGeometrySet(directory.file("data"), false);
        outputOf([&] { set.haveReadGeometrySet(&property, false, {}, 0); });
        std::filesystem::remove(directory.file("data"));
    }

    std::unique_ptr<NNArch> makeArch(const GeometrySet& set, int mode = NNArch::onlyEnergy) {
        auto arch = std::make_unique<NNArch>(mode, set.numElems, &property, false, false);
        outputOf([&] { arch->initLayers(&set); });
        return arch;
    }

    // Ranges of the data, as a training takes them after a restart.
    static void takeRanges(NNArch& arch, const GeometrySet& set) {
        outputOf([&] {
            arch.setGeometriesAll(&set);
            arch.calculateSymmFuncs(false, true, true);
            arch.statisticsSymmFuncs(&set);
        });
    }

    // Absolute energies of the atoms of one geometry.
    static std::vector<float> energiesOf(NNArch& arch, const GeometrySet& set, int index) {
        Geometry* const geometry = &set.getGeometry(index);
        arch.setGeometries(std::span<Geometry* const>(&geometry, 1));
        arch.calculateSymmFuncs(false, false, true);
        arch.renormalizeSymmFuncs(false);
        arch.goForwardOnEnergy();
        std::vector<float> energies(arch.obtainEnergies(0).begin(), arch.obtainEnergies(0).end());
        for (std::size_t a = 0; a < energies.size(); ++a) {
            energies[a] += static_cast<float>(set.getElementEnergy(geometry->elements[a]));
        }
        arch.clearGeometries();
        return energies;
    }

    static std::vector<float> chargesOf(NNArch& arch, const GeometrySet& set, int index) {
        Geometry* const geometry = &set.getGeometry(index);
        arch.setGeometries(std::span<Geometry* const>(&geometry, 1));
        arch.calculateSymmFuncs(false, false, true);
        arch.renormalizeSymmFuncs(false);
        arch.goForwardOnCharge();
        std::vector<float> charges(arch.obtainCharges(0).begin(), arch.obtainCharges(0).end());
        arch.clearGeometries();
        return charges;
    }

    GeometrySet silicon;
    GeometrySet both;
};

const char* const restored = "  * Restore the neural network from the file.\n\n";
const char* const notRestored = "  * CANNOT restore the neural network from the file.\n\n";

TEST_F(Store, TellsWhatItDoes) {
    const auto arch = makeArch(silicon);
    takeRanges(*arch, silicon);

    EXPECT_EQ(outputOf([&] { storeNN(*arch, headName, &silicon); }),
              "  * Store the neural network to the file.\n\n");
    EXPECT_EQ(outputOf([&] { restoreNN(*arch, headName, &silicon, false); }), restored);
    EXPECT_EQ(outputOf([&] { restoreNN(*arch, headName, &silicon, true); }), restored);
    EXPECT_TRUE(otherFiles().empty());
}

TEST_F(Store, StopsWithoutSet) {
    const auto arch = makeArch(silicon);

    EXPECT_EQ(stopMessageOf([&] { storeNN(*arch, headName, nullptr); }), "geometrySet is null.");
    EXPECT_EQ(stopMessageOf([&] { restoreNN(*arch, headName, nullptr, true); }), "geometrySet is null.");
}

TEST_F(Store, LeavesTheArrangementWithoutAllFiles) {
    const auto stored = makeArch(silicon);
    takeRanges(*stored, silicon);
    outputOf([&] { storeNN(*stored, headName, &silicon); });
    for (const std::string& missing : {headName, energyName}) {
        const std::string text = readTextFile(missing);
        std::filesystem::remove(missing);
        const auto arch = makeArch(silicon);
        const std::vector<float> parameters = parametersOf(arch->getEnergyEnsembles()[0]);

        EXPECT_EQ(outputOf([&] { restoreNN(*arch, headName, &silicon, true); }), notRestored);

        EXPECT_EQ(parametersOf(arch->getEnergyEnsembles()[0]), parameters);
        EXPECT_LE(arch->getSymmStatistics().symmDev[0], 0.0f);
        EXPECT_EQ(outputOf([&] {
                      EXPECT_EQ(stopMessageOf([&] { restoreNN(*arch, headName, &silicon, false); }),
                                "cannot open file: " + missing);
                  }),
                  restored);
        writeTextFile(missing, text);
    }
}

// Each kind of networks needs its own companion only.
TEST_F(Store, NeedsTheCompanionsOfItsNetworks) {
    property.withCharge = 1;
    const auto stored = makeArch(silicon, NNArch::energyAndCharge);
    takeRanges(*stored, silicon);
    const auto restoredWithout = [&](int mode, const std::string& missing) {
        outputOf([&] { storeNN(*stored, headName, &silicon); });
        std::filesystem::remove(missing);
        const auto arch = makeArch(silicon, mode);
        const std::string output = outputOf([&] { restoreNN(*arch, headName, &silicon, true); });
        EXPECT_EQ(arch->getSymmStatistics().symmDev == stored->getSymmStatistics().symmDev,
                  output == restored);
        return output;
    };

    EXPECT_EQ(restoredWithout(NNArch::onlyEnergy, chargeName), restored);
    EXPECT_EQ(restoredWithout(NNArch::onlyEnergy, energyName), notRestored);
    EXPECT_EQ(restoredWithout(NNArch::onlyCharge, energyName), restored);
    EXPECT_EQ(restoredWithout(NNArch::onlyCharge, chargeName), notRestored);
    EXPECT_EQ(restoredWithout(NNArch::energyAndCharge, energyName), notRestored);
    EXPECT_EQ(restoredWithout(NNArch::energyAndCharge, chargeName), notRestored);
    EXPECT_EQ(restoredWithout(NNArch::energyAndCharge, headName), notRestored);
}

// The two kinds are trained one after the other, each leaving the other's weights as they are.
TEST_F(Store, LeavesTheOtherCompanionAlone) {
    property.withCharge = 1;
    const auto whole = makeArch(silicon, NNArch::energyAndCharge);
    takeRanges(*whole, silicon);
    outputOf([&] { storeNN(*whole, headName, &silicon); });
    const std::string energy = readTextFile(energyName);
    const std::string charge = readTextFile(chargeName);
    for (const int mode : {NNArch::onlyEnergy, NNArch::onlyCharge}) {
        const auto other = makeArch(silicon, mode);
        takeRanges(*other, silicon);

        outputOf([&] { storeNN(*other, headName, &silicon); });

        EXPECT_EQ(readTextFile(energyName) == energy, mode == NNArch::onlyCharge);
        EXPECT_EQ(readTextFile(chargeName) == charge, mode == NNArch::onlyEnergy);
        outputOf([&] { storeNN(*whole, headName, &silicon); });
    }
}

TEST_F(Store, GivesTheSameChargesAgain) {
    property.withCharge = 1;
    const auto stored = makeArch(both, NNArch::onlyCharge);
    takeRanges(*stored, both);
    outputOf([&] { storeNN(*stored, headName, &both); });
    const auto arch = makeArch(both, NNArch::onlyCharge);

    outputOf([&] { restoreNN(*arch, headName, &both, true); });

    for (int g = 0; g < both.numGeoms; ++g) {
        EXPECT_EQ(chargesOf(*arch, both, g), chargesOf(*stored, both, g)) << g;
    }
}

TEST_F(Store, GivesTheSameChargesToOtherSets) {
    property.withCharge = 1;
    const auto large = makeArch(both, NNArch::onlyCharge);
    takeRanges(*large, both);
    const auto small = makeArch(silicon, NNArch::onlyCharge);

    outputOf([&] {
        storeNN(*large, headName, &both);
        restoreNN(*small, headName, &silicon, true);
    });

    EXPECT_LE(test::worstError(chargesOf(*small, silicon, 0), chargesOf(*large, both, 1)), 2.0e-7);
    const auto grown = makeArch(both, NNArch::onlyCharge);
    outputOf([&] {
        storeNN(*small, headName, &silicon);
        restoreNN(*grown, headName, &both, true);
    });
    takeRanges(*grown, both);
    EXPECT_LE(test::worstError(chargesOf(*grown, both, 1), chargesOf(*large, both, 1)), 4.0e-7);
}

TEST_F(Store, GivesTheSameEnergiesAgain) {
    const auto stored = makeArch(both);
    takeRanges(*stored, both);
    outputOf([&] { storeNN(*stored, headName, &both); });
    const auto arch = makeArch(both);

    outputOf([&] { restoreNN(*arch, headName, &both, true); });

    for (int g = 0; g < both.numGeoms; ++g) {
        EXPECT_EQ(energiesOf(*arch, both, g), energiesOf(*stored, both, g)) << g;
    }
}

TEST_F(Store, GivesTheSameEnergiesToASetWithFewerElements) {
    const auto stored = makeArch(both);
    takeRanges(*stored, both);
    outputOf([&] { storeNN(*stored, headName, &both); });
    const auto arch = makeArch(silicon);

    outputOf([&] { restoreNN(*arch, headName, &silicon, true); });

    EXPECT_LE(test::worstError(energiesOf(*arch, silicon, 0), energiesOf(*stored, both, 1)), 2.0e-7);
}

TEST_F(Store, GivesTheSameEnergiesToASetWithMoreElements) {
    const auto stored = makeArch(silicon);
    takeRanges(*stored, silicon);
    outputOf([&] { storeNN(*stored, headName, &silicon); });
    const auto arch = makeArch(both);

    outputOf([&] { restoreNN(*arch, headName, &both, true); });
    takeRanges(*arch, both);

    EXPECT_LE(test::worstError(energiesOf(*arch, both, 1), energiesOf(*stored, silicon, 0)), 2.0e-7);
}

} // namespace
} // namespace melta
