// The installed model as simulators see it.
#include "kim/KimFixture.hpp"
#include "kim/KimHost.hpp"

#include <numeric>

namespace melta::test {
namespace {

const KimHost::Units metal{KIM::LENGTH_UNIT::A, KIM::ENERGY_UNIT::eV};

class KimModelTest : public KimFixture {
protected:
    // The view of a cell with positions in other units and codes for elements.
    struct Atoms {
        Atoms(const HostCell& cell, const Potential& potential, const KimHost& host, double angstrom) {
            std::vector<int> elements;
            for (const std::string& label : cell.labels) {
                elements.push_back(potential.elementIndex(label));
                codes.push_back(host.codeOf(label));
            }
            periodic = std::make_unique<PeriodicView>(cell.cell, cell.positions, elements,
                                                      potential.influenceDistance());
            view = periodic->view();
            for (int i = 0; i < 3 * view.numAtoms; ++i) {
                positions.push_back(view.positions[i] * angstrom);
            }
            for (std::size_t i = cell.labels.size(); i < periodic->owners().size(); ++i) {
                codes.push_back(codes[static_cast<std::size_t>(periodic->owners()[i])]);
            }
            view.positions = positions.data();
            view.elements = codes.data();
            particleOf.resize(codes.size());
            std::iota(particleOf.begin(), particleOf.end(), 0);
        }

        std::unique_ptr<PeriodicView> periodic;
        std::vector<double> positions;
        std::vector<int> codes;
        std::vector<int> particleOf;
        NeighborView view;
    };

    // The results of a host at the atoms of the cell, in eV and Angstrom and our order and sign.
    static HostResult fold(const KimHost::Result& result, const Atoms& atoms, double angstrom,
                           double electronVolt) {
        const auto number = static_cast<std::size_t>(atoms.view.numLocal);
        HostResult folded{result.energy / electronVolt,
                          std::vector<double>(number),
                          std::vector<double>(3 * number),
                          {},
                          std::vector<double>(6 * number)};
        constexpr std::array<std::size_t, 6> component{0, 1, 2, 5, 4, 3};
        for (std::size_t k = 0; k < 6; ++k) {
            folded.virial[k] = -result.virial[component[k]] / electronVolt;
        }
        for (std::size_t i = 0; i < atoms.particleOf.size(); ++i) {
            const auto p = static_cast<std::size_t>(atoms.particleOf[i]);
            const auto owner = static_cast<std::size_t>(atoms.periodic->owners()[i]);
            folded.energies[owner] += result.energies[p] / electronVolt;
            for (std::size_t c = 0; c < 3; ++c) {
                folded.forces[3 * owner + c] += result.forces[3 * p + c] * angstrom / electronVolt;
            }
            for (std::size_t k = 0; k < 6; ++k) {
                folded.virials[6 * owner + k] -= result.particleVirials[6 * p + component[k]] / electronVolt;
            }
        }
        return folded;
    }

    void expectThePotential(const std::string& forceField, const KimHost::Units& units, double angstrom,
                            double electronVolt) {
        const Potential potential = Potential::read(forceField);
        KimHost host(installModel(forceField), units);
        const HostCell cell = cubicCell();
        const Atoms atoms(cell, potential, host, angstrom);
        KimHost::Result result;

        ASSERT_TRUE(host.compute(atoms.view, atoms.particleOf, result));

        expectSame(fold(result, atoms, angstrom, electronVolt), evaluate(potential, cell));
        EXPECT_NEAR(host.influenceDistance(), potential.influenceDistance() * angstrom, 1.0e-7);
        ASSERT_EQ(host.cutoffs().size(), 1U);
        EXPECT_NEAR(host.cutoffs().front(), potential.cutoff() * angstrom, 1.0e-7);
    }
};

class KimModelOfKinds : public KimModelTest, public testing::WithParamInterface<const char*> {};

TEST_P(KimModelOfKinds, GivesWhatThePotentialGives) {
    expectThePotential(exportKind(GetParam()), metal, 1.0, 1.0);
}

INSTANTIATE_TEST_SUITE_P(Kinds, KimModelOfKinds,
                         testing::Values("chebyshev", "chebyshevWeighted", "behler", "manyBody", "cluster"),
                         [](const auto& instance) { return std::string(instance.param); });

class KimModelOfBaselines : public KimModelTest, public testing::WithParamInterface<const char*> {};

TEST_P(KimModelOfBaselines, IncludesTheBaseline) {
    expectThePotential(exportBaseline(GetParam()), metal, 1.0, 1.0);
}

INSTANTIATE_TEST_SUITE_P(Baselines, KimModelOfBaselines, testing::Values("classical", "reax", "zbl"),
                         [](const auto& instance) { return std::string(instance.param); });

TEST_F(KimModelTest, WorksInTheUnitsOfTheSimulator) {
    const std::string forceField = exportBaseline("reax");

    expectThePotential(forceField, {KIM::LENGTH_UNIT::A, KIM::ENERGY_UNIT::kcal_mol}, 1.0, 23.060548);
    expectThePotential(forceField, {KIM::LENGTH_UNIT::Bohr, KIM::ENERGY_UNIT::Hartree}, 1.0 / 0.5291772106,
                       1.0 / 27.21138602);
}

TEST_F(KimModelTest, ContributingParticlesMayStandAnywhere) {
    const std::string forceField = exportBaseline("reax");
    const Potential potential = Potential::read(forceField);
    KimHost host(installModel(forceField), metal);
    const HostCell cell = cubicCell();
    Atoms atoms(cell, potential, host, 1.0);
    std::ranges::reverse(atoms.particleOf);
    std::swap(atoms.particleOf[1], atoms.particleOf[7]);
    KimHost::Result result;

    ASSERT_TRUE(host.compute(atoms.view, atoms.particleOf, result));

    expectSame(fold(result, atoms, 1.0, 1.0), evaluate(potential, cell));
}

TEST_F(KimModelTest, GivesNoMoreThanIsAskedFor) {
    const std::string forceField = exportKind("chebyshev");
    const Potential potential = Potential::read(forceField);
    KimHost host(installModel(forceField), metal);
    const HostCell cell = cubicCell();
    const Atoms atoms(cell, potential, host, 1.0);
    double energy = 0.0;

    ASSERT_TRUE(host.computeEnergy(atoms.view, atoms.particleOf, energy));

    EXPECT_NEAR(energy, evaluate(potential, cell).energy, 1.0e-5);
}

TEST_F(KimModelTest, NoParticlesHaveNoEnergy) {
    KimHost host(installModel(exportKind("chebyshev")), metal);
    KimHost::Result result;

    ASSERT_TRUE(host.compute(NeighborView{}, {}, result));

    EXPECT_EQ(result.energy, 0.0);
    EXPECT_EQ(result.virial, std::vector<double>(6));
}

TEST_F(KimModelTest, TwoModelsLiveSideBySide) {
    const std::string forceField = exportKind("chebyshev");
    const Potential potential = Potential::read(forceField);
    KimHost first(installModel(forceField), metal);
    KimHost second(installModel(forceField), {KIM::LENGTH_UNIT::A, KIM::ENERGY_UNIT::kcal_mol});
    const HostCell cell = cubicCell();
    const Atoms atoms(cell, potential, first, 1.0);
    double inFirst = 0.0;
    double inSecond = 0.0;

    ASSERT_TRUE(first.computeEnergy(atoms.view, atoms.particleOf, inFirst));
    ASSERT_TRUE(second.computeEnergy(atoms.view, atoms.particleOf, inSecond));

    EXPECT_NEAR(inSecond / inFirst, 23.060548, 1.0e-4);
}

TEST_F(KimModelTest, SpeciesAreThoseOfTheForceField) {
    const KimHost host(installModel(exportKind("chebyshev")), metal);

    EXPECT_EQ(std::min(host.codeOf("Si"), host.codeOf("O")), 0);
    EXPECT_EQ(std::max(host.codeOf("Si"), host.codeOf("O")), 1);
    EXPECT_EQ(host.codeOf("Fe"), -1);
}

TEST_F(KimModelTest, UnknownCodesAreRefused) {
    const std::string forceField = exportKind("chebyshev");
    const Potential potential = Potential::read(forceField);
    KimHost host(installModel(forceField), metal);
    Atoms atoms(cubicCell(), potential, host, 1.0);
    atoms.codes.front() = 2;
    KimHost::Result result;
    testing::internal::CaptureStderr();

    EXPECT_FALSE(host.compute(atoms.view, atoms.particleOf, result));

    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "melta: the simulator gives a code of species that the model does not have.\n");
}

TEST_F(KimModelTest, NumbersThatAreNotFiniteAreRefused) {
    const std::string forceField = exportKind("chebyshev");
    const Potential potential = Potential::read(forceField);
    KimHost host(installModel(forceField), metal);
    Atoms atoms(cubicCell(), potential, host, 1.0);
    atoms.positions.front() = std::nan("");
    KimHost::Result result;
    testing::internal::CaptureStderr();

    EXPECT_FALSE(host.compute(atoms.view, atoms.particleOf, result));

    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "melta: incorrect view: a position that is not finite.\n");
}

// What is wrong stands on the console and in the log of KIM, which alone would be easily overlooked.
TEST_F(KimModelTest, DamagedForceFieldsAreRefused) {
    const std::string forceField = exportKind("chebyshev");
    const std::string text = readTextFile(forceField);
    writeTextFile(forceField, text.substr(0, text.size() / 2));
    const std::string name = installModel(forceField);
    testing::internal::CaptureStderr();

    EXPECT_THROW(KimHost(name, metal), std::runtime_error);

    const std::string message = testing::internal::GetCapturedStderr();
    EXPECT_EQ(message.substr(0, 35), "melta: cannot scan neural network @") << message;
    EXPECT_NE(readTextFile("kim.log").find("cannot scan neural network @"), std::string::npos);
}

TEST_F(KimModelTest, WrongBytesAreRefusedOrHarmless) {
    const std::string forceField = exportBaseline("classical");
    const std::string text = readTextFile(forceField);
    sharedRandom().seed(5);
    int numRefused = 0;
    testing::internal::CaptureStderr();
    for (int turn = 0; turn < 40; ++turn) {
        std::string damaged = text;
        const auto place = static_cast<std::size_t>(sharedRandom().draw()) *
                           static_cast<std::size_t>(sharedRandom().draw()) % damaged.size();
        damaged[place] = static_cast<char>(sharedRandom().draw() % 256);
        writeTextFile(forceField, turn % 3 == 0 ? damaged.substr(0, place) : damaged);
        const std::string name = installModel(forceField);
        try {
            const KimHost host(name, metal);
        } catch (const std::runtime_error&) {
            ++numRefused;
        }
    }
    testing::internal::GetCapturedStderr();

    EXPECT_GE(numRefused, 13);
}

} // namespace
} // namespace melta::test
