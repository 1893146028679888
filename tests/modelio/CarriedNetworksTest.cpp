// A training of energies beside networks of charges, and the other way round: whatever it does to the head,
// the networks that it leaves alone keep their function, or are set aside.
#include "modelio/ModelStore.hpp"

#include "base/RandomSource.hpp"
#include "modelio/ModelFiles.hpp"
#include "network/NNArch.hpp"
#include "structure/DataFileText.hpp"
#include "symmfunc/cluster/ClusterKind.hpp"

#include <filesystem>
#include <memory>

namespace fs = std::filesystem;

namespace melta {
namespace {

using test::outputOf;
using test::readTextFile;
using test::stopMessageOf;
using test::writeTextFile;

std::string atomAt(const std::string& label, const std::string& position, const std::string& energy,
                   const std::string& charge) {
    return label + " " + position + " " + energy + " 0 0 0 " + charge + " 0 0 0 0\n";
}

// The same configuration twice, with its atoms in another order.
std::string blockFrom(const std::string& first) {
    const std::string oxygen =
        atomAt("O", "0 0 0", "-31.9", "-0.6") + atomAt("O", "3.5 3.2 0.4", "-31.7", "-0.5");
    const std::string silicon =
        atomAt("Si", "3.1 0.2 0", "-8.3", "0.6") + atomAt("Si", "0.3 4.4 4.1", "-8.3", "0.5");
    return "4 1 -80.2\n" + test::cubicCell() + (first == "O" ? oxygen + silicon : silicon + oxygen);
}

std::string blockWithHydrogen() {
    return "3 1 -41.2\n" + test::cubicCell() + atomAt("H", "0 0 0", "-1.0", "0.2") +
           atomAt("O", "2.1 0.2 0", "-31.8", "-0.4") + atomAt("Si", "4.5 3.4 1.1", "-8.4", "0.2");
}

struct Result {
    std::vector<float> energies; // absolute, by element
    std::vector<float> charges;
};

class Carried : public test::ModelFiles {
protected:
    Carried() {
        sharedRandom().seed(19);
        property.withCharge = 1;
        property.rcutRadius = 4.0f;
        property.rcutAngle = 4.0f;
        property.modelsCharge = 3;
        property.layersCharge = 1;
        property.nodesCharge = 5;
    }

    std::unique_ptr<GeometrySet> makeSet(const std::string& text) {
        auto set = std::make_unique<GeometrySet>();
        writeTextFile(directory.file("data"), text);
        set->readGeometrySet(directory.file("data"), true);
        outputOf([&] { set->haveReadGeometrySet(&property, false, {}, 0); });
        fs::remove(directory.file("data"));
        return set;
    }

    // A training without a step: fresh networks of one kind, stored as a training does. Gives what it prints.
    std::string train(const GeometrySet& set, int mode) {
        NNArch arch(mode, set.numElems, &property, true, false);
        ModelStore store(headName, &set);
        store.addDistributions(directory.file("melta.gdist"));
        outputOf([&] {
            arch.initLayers(&set);
            arch.setGeometriesAll(&set);
            arch.calculateSymmFuncs(mode == NNArch::onlyEnergy, true, true);
            arch.statisticsSymmFuncs(&set);
            arch.countSymmDistributions(&set);
        });
        store.carryOthers(arch);
        return outputOf([&] {
            store.storeNN(arch);
            store.storeNN(arch);
        });
    }

    // What the stored model says of the four atoms, oxygen before silicon.
    Result evaluate(bool withEnergy, bool withCharge) {
        const auto set = makeSet(blockFrom("O"));
        const int mode = withEnergy && withCharge ? NNArch::energyAndCharge
                         : withEnergy             ? NNArch::onlyEnergy
                                                  : NNArch::onlyCharge;
        NNArch arch(mode, set->numElems, &property, false, false);
        outputOf([&] {
            arch.initLayers(set.get());
            restoreNN(arch, headName, set.get(), false);
        });
        Geometry* const geometry = &set->getGeometry(0);
        arch.setGeometries(std::span<Geometry* const>(&geometry, 1));
        arch.calculateSymmFuncs(false, false, true);
        arch.renormalizeSymmFuncs(false);
        Result result;
        if (withEnergy) {
            arch.goForwardOnEnergy();
            result.energies.assign(arch.obtainEnergies(0).begin(), arch.obtainEnergies(0).end());
            for (std::size_t a = 0; a < result.energies.size(); ++a) {
                result.energies[a] += static_cast<float>(set->getElementEnergy(geometry->elements[a]));
            }
        }
        if (withCharge) {
            arch.goForwardOnCharge();
            result.charges.assign(arch.obtainCharges(0).begin(), arch.obtainCharges(0).end());
        }
        return result;
    }

    static void expectSame(const std::vector<float>& found, const std::vector<float>& expected, float scale) {
        ASSERT_EQ(found.size(), expected.size());
        for (std::size_t a = 0; a < found.size(); ++a) {
            EXPECT_LE(std::abs(found[a] - expected[a]), 2.0e-6f * scale) << a;
        }
    }

    std::string kept(const std::string& name) const { return name + ".kept"; }

    static constexpr float energyScale = 430.0f; // of oxygen, eV
    static constexpr float chargeScale = 1.0f;
    const std::string stored = "  * Store the neural network to the file.\n\n";
};

TEST_F(Carried, EnergiesSurviveChargesOfAnotherElementOrder) {
    for (const int elemWeight : {0, 1}) {
        property.elemWeight = elemWeight;
        train(*makeSet(blockFrom("Si")), NNArch::onlyEnergy);
        const Result before = evaluate(true, false);

        const std::string output = train(*makeSet(blockFrom("O")), NNArch::onlyCharge);

        EXPECT_EQ(output, stored + stored);
        expectSame(evaluate(true, true).energies, before.energies, energyScale);
    }
}

TEST_F(Carried, NetworksOfOtherWeightsOfElementsAreSetAside) {
    property.symmFuncKind = ClusterKind::code;
    property.kindSettings = {{"channels", 2}, {"maxAngular", 2}, {"numRadius4", 1}};
    property.numRadius = 3;
    const auto set = makeSet(blockFrom("Si"));
    train(*set, NNArch::onlyEnergy);
    const std::string same = train(*set, NNArch::onlyCharge);
    std::string head = readTextFile(headName);
    head.replace(head.rfind("-1.00000000e+00"), 15, "-7.50000000e-01");
    writeTextFile(headName, head);

    const std::string other = train(*set, NNArch::onlyCharge);

    EXPECT_EQ(same, stored + stored);
    EXPECT_NE(other.find("the energy networks do not fit this model any more"), std::string::npos) << other;
    EXPECT_TRUE(fs::exists(kept(headName + "_e")));
}

TEST_F(Carried, ChargesSurviveEnergiesOfAnotherElementOrder) {
    train(*makeSet(blockFrom("Si")), NNArch::onlyCharge);
    const Result before = evaluate(false, true);

    train(*makeSet(blockFrom("O")), NNArch::onlyEnergy);

    expectSame(evaluate(true, true).charges, before.charges, chargeScale);
}

TEST_F(Carried, BothSurviveElementsThatJoin) {
    train(*makeSet(blockFrom("Si")), NNArch::onlyEnergy);
    train(*makeSet(blockFrom("Si")), NNArch::onlyCharge);
    const Result before = evaluate(true, true);

    train(*makeSet(blockFrom("O") + blockWithHydrogen()), NNArch::onlyCharge);
    expectSame(evaluate(true, true).energies, before.energies, energyScale);

    train(*makeSet(blockFrom("Si")), NNArch::onlyCharge);
    const Result middle = evaluate(true, true);
    train(*makeSet(blockWithHydrogen() + blockFrom("O")), NNArch::onlyEnergy);
    expectSame(evaluate(true, true).charges, middle.charges, chargeScale);
}

TEST_F(Carried, FilesStayAsTheyAreWhereTheHeadSaysTheSame) {
    const auto set = makeSet(blockFrom("Si"));
    train(*set, NNArch::onlyEnergy);
    const std::string head = readTextFile(headName);
    const std::string energies = readTextFile(energyName);

    train(*set, NNArch::onlyCharge);

    EXPECT_EQ(readTextFile(headName), head);
    EXPECT_EQ(readTextFile(energyName), energies);
}

TEST_F(Carried, NetworksOfOtherFunctionsAreSetAside) {
    const auto set = makeSet(blockFrom("Si"));
    train(*set, NNArch::onlyCharge);
    const std::string charges = readTextFile(chargeName);
    property.rcutRadius = 3.5f;

    const std::string output = train(*set, NNArch::onlyEnergy);

    EXPECT_EQ(output,
              stored +
                  "  * WARNING: the charge networks do not fit this model any more, and are kept in the "
                  "file: " +
                  kept(chargeName) + "\n\n" + stored);
    EXPECT_FALSE(fs::exists(chargeName));
    EXPECT_EQ(readTextFile(kept(chargeName)), charges);
}

TEST_F(Carried, WhatWasSetAsideIsNeverReplaced) {
    const auto set = makeSet(blockFrom("Si"));
    writeTextFile(kept(energyName), "older\n");
    writeTextFile(energyName, "damaged\n");

    train(*set, NNArch::onlyCharge);

    EXPECT_EQ(readTextFile(kept(energyName)), "older\n");
    EXPECT_EQ(readTextFile(kept(energyName) + ".2"), "damaged\n");
    EXPECT_FALSE(fs::exists(energyName));
}

TEST_F(Carried, EnergiesOverAnotherBaselineAreSetAside) {
    const auto set = makeSet(blockFrom("Si"));
    train(*set, NNArch::onlyEnergy);
    property.withClassical = 1;

    train(*set, NNArch::onlyCharge);

    EXPECT_FALSE(fs::exists(energyName));
    EXPECT_TRUE(fs::exists(kept(energyName)));
}

// Their energies held what the charges carry.
TEST_F(Carried, EnergiesOfAModelWithoutChargesAreSetAside) {
    const auto set = makeSet(blockFrom("Si"));
    property.withCharge = 0;
    train(*set, NNArch::onlyEnergy);
    property.withCharge = 1;

    train(*set, NNArch::onlyCharge);

    EXPECT_FALSE(fs::exists(energyName));
    EXPECT_TRUE(fs::exists(kept(energyName)));
}

TEST_F(Carried, ChargesAreLeftAloneByAModelWithoutThem) {
    const auto set = makeSet(blockFrom("Si"));
    train(*set, NNArch::onlyCharge);
    const std::string charges = readTextFile(chargeName);
    property.withCharge = 0;

    train(*set, NNArch::onlyEnergy);
    EXPECT_EQ(readTextFile(chargeName), charges);

    // A head in between has forgotten what they are.
    property.withCharge = 1;
    train(*set, NNArch::onlyEnergy);
    EXPECT_FALSE(fs::exists(chargeName));
    EXPECT_EQ(readTextFile(kept(chargeName)), charges);
}

TEST_F(Carried, AFailedStoreLeavesAllFiles) {
    const auto set = makeSet(blockFrom("Si"));
    train(*set, NNArch::onlyCharge);
    const std::string head = readTextFile(headName);
    const std::string charges = readTextFile(chargeName);
    property.rcutRadius = 3.5f;
    fs::create_directory(energyName);

    EXPECT_EQ(stopMessageOf([&] { train(*set, NNArch::onlyEnergy); }), "cannot open file: " + energyName);

    EXPECT_EQ(readTextFile(headName), head);
    EXPECT_EQ(readTextFile(chargeName), charges);
    EXPECT_FALSE(fs::exists(kept(chargeName)));
}

} // namespace
} // namespace melta
