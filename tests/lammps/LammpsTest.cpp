// Potentials in LAMMPS, by each way in which it may run them.
#include "kim/KimFixture.hpp"
#include "lammps/LammpsRun.hpp"

#include <map>

namespace melta::test {
namespace {

constexpr double kilocalorie = 23.060530247; // per mole and eV, as KIM has it

// By the KIM API with stock LAMMPS, or by the pair style with the program that has it. The second parameter,
// if there is one, is the model or the cell.
using Way = std::tuple<std::string, std::string>;

class LammpsTest : public KimFixture, public testing::WithParamInterface<Way> {
protected:
    void SetUp() override {
        if (program().empty() || !LammpsRun::isThere(program())) {
            GTEST_SKIP() << "there is no LAMMPS for this host";
        }
    }

    static bool isKim() { return std::get<0>(GetParam()) == "kim"; }
    static std::string what() { return std::get<1>(GetParam()); }

    static std::string program() {
        if (isKim()) {
            return std::string(MELTA_KIM_LIBRARY).empty() ? "" : "lmp";
        }
        return LMP_MELTA;
    }

    // A run of the cell with an exported force field.
    LammpsRun runOf(const std::string& forceField, const HostCell& cell, const std::string& units = "metal",
                    const std::vector<std::string>& types = {"O", "Si"}) {
        LammpsRun run;
        run.program = program();
        run.types = types;
        run.cell = cell;
        std::string elements;
        for (const std::string& type : types) {
            elements += " " + type;
        }
        if (isKim()) {
            run.unitsLines = "kim init " + installModel(forceField) + " " + units;
            run.potentialLines = "kim interactions" + elements;
        } else {
            run.unitsLines = "units " + units;
            run.potentialLines = "pair_style melta\npair_coeff * * " + forceField + elements;
        }
        return run;
    }

    void expectThePotential(const std::string& forceField, const LammpsRun& run) {
        const LammpsRun::Outcome outcome = run.run();
        ASSERT_EQ(outcome.status, 0) << outcome.output;
        ASSERT_FALSE(outcome.result->energies.empty()) << outcome.output;
        expectSame(*outcome.result, evaluate(Potential::read(forceField), run.cell));
    }

    // Four atoms in a cell whose angles are far from right ones.
    [[nodiscard]] HostCell tiltedCell() const {
        HostCell cell = cubicCell();
        cell.cell[3] = 0.45 * cell.cell[0];
        cell.cell[6] = -0.4 * cell.cell[0];
        cell.cell[7] = 0.35 * cell.cell[4];
        return cell;
    }
};

std::string nameOf(const testing::TestParamInfo<Way>& instance) {
    const auto [host, what] = instance.param;
    return host + "_" + what;
}

auto bothWaysOf(auto... what) {
    return testing::Combine(testing::Values<std::string>("kim", "pairStyle"),
                            testing::Values<std::string>(what...));
}

class LammpsKinds : public LammpsTest {};

TEST_P(LammpsKinds, GivesWhatThePotentialGives) {
    const std::string forceField = exportKind(what());

    expectThePotential(forceField, runOf(forceField, tiltedCell()));
}

INSTANTIATE_TEST_SUITE_P(Kinds, LammpsKinds,
                         bothWaysOf("chebyshev", "chebyshevWeighted", "behler", "manyBodyPairs", "cluster"),
                         nameOf);

class LammpsBaselines : public LammpsTest {};

TEST_P(LammpsBaselines, IncludesTheBaseline) {
    const std::string forceField = exportBaseline(what());

    expectThePotential(forceField, runOf(forceField, tiltedCell()));
}

INSTANTIATE_TEST_SUITE_P(Baselines, LammpsBaselines, bothWaysOf("classical", "reax", "zbl"), nameOf);

class LammpsCells : public LammpsTest {};

TEST_P(LammpsCells, GivesWhatThePotentialGives) {
    const std::string forceField = exportKind("chebyshev");
    const std::map<std::string, HostCell> cells{
        {"cubic", cubicCell()},
        // Thinner than the cutoff of 3.5 Angstrom along each vector.
        {"thin",
         {{2.4, 0.0, 0.0, 1.0, 2.6, 0.0, -0.9, 0.8, 2.5}, {0.1, 0.2, 0.3, 1.3, 1.7, 1.2}, {"Si", "O"}}},
        {"singleAtom", {{3.1, 0.0, 0.0, 0.0, 3.0, 0.0, 0.0, 0.0, 2.9}, {0.5, 0.5, 0.5}, {"Si"}}},
        {"loneAtom", {{20.0, 0.0, 0.0, 0.0, 20.0, 0.0, 0.0, 0.0, 20.0}, {5.0, 6.0, 7.0}, {"O"}}},
        {"oneElement",
         {{6.0, 0.0, 0.0, 0.0, 6.0, 0.0, 0.0, 0.0, 6.0}, {1.0, 1.0, 1.0, 3.0, 1.5, 1.0}, {"Si", "Si"}}},
    };

    expectThePotential(forceField, runOf(forceField, cells.at(what())));
}

INSTANTIATE_TEST_SUITE_P(Cells, LammpsCells,
                         bothWaysOf("cubic", "thin", "singleAtom", "loneAtom", "oneElement"), nameOf);

class LammpsRanks : public LammpsTest {};

TEST_P(LammpsRanks, ShareTheWork) {
    if (!LammpsRun::isThere("mpirun")) {
        GTEST_SKIP() << "mpirun is not installed";
    }
    const std::string forceField = what() == "networks" ? exportKind("chebyshev") : exportBaseline(what());
    LammpsRun run = runOf(forceField, tiltedCell());
    for (const int ranks : {2, 4}) {
        run.numRanks = ranks;

        expectThePotential(forceField, run);
    }
}

INSTANTIATE_TEST_SUITE_P(Ranks, LammpsRanks, bothWaysOf("networks", "reax"), nameOf);

class LammpsHosts : public LammpsTest {};

TEST_P(LammpsHosts, TypesStandInAnyOrder) {
    const std::string forceField = exportKind("cluster");

    expectThePotential(forceField, runOf(forceField, cubicCell(), "metal", {"Si", "O"}));
}

TEST_P(LammpsHosts, WorksInRealUnits) {
    const std::string forceField = exportBaseline("zbl");
    LammpsRun run = runOf(forceField, tiltedCell(), "real");
    run.electronVolt = isKim() ? kilocalorie : 23.060549;
    run.pressureUnit = 68568.415;

    expectThePotential(forceField, run);
}

// Minus the derivative of LAMMPS's energy by the strain of the cell, by central differences.
TEST_P(LammpsHosts, VirialIsTheDerivativeByStrain) {
    const std::string forceField = exportKind("chebyshev");
    LammpsRun run = runOf(forceField, tiltedCell());
    const LammpsRun::Outcome whole = run.run();
    ASSERT_EQ(whole.status, 0) << whole.output;
    const HostCell cell = run.cell;
    const auto energyOfStrain = [&](std::size_t row, std::size_t column, double strain) {
        run.cell = cell;
        // Rows of the cell and of positions alike; cells stay triangular as long as row <= column.
        for (std::size_t i = 0; i < 9; i += 3) {
            run.cell.cell[i + row] += strain * cell.cell[i + column];
        }
        for (std::size_t i = 0; i < cell.positions.size(); i += 3) {
            run.cell.positions[i + row] += strain * cell.positions[i + column];
        }
        return run.run().result.value().energy;
    };
    double scale = 1.0;
    for (const double part : whole.result->virial) {
        scale = std::max(scale, std::abs(part));
    }
    constexpr std::array<std::array<std::size_t, 2>, 6> axes{
        {{0, 0}, {1, 1}, {2, 2}, {0, 1}, {0, 2}, {1, 2}}};
    for (std::size_t v = 0; v < axes.size(); ++v) {
        constexpr double step = 2.0e-3;
        const double slope =
            (energyOfStrain(axes[v][0], axes[v][1], step) - energyOfStrain(axes[v][0], axes[v][1], -step)) /
            (2.0 * step);
        EXPECT_LE(std::abs(whole.result->virial[v] + slope), 1.0e-2 * scale) << v;
    }
    EXPECT_GT(scale, 0.01);
}

// LAMMPS ends by itself, with an error of its own and ours beside it.
TEST_P(LammpsHosts, StopsAtDamagedForceFields) {
    const std::string forceField = exportKind("behler");
    const std::string text = readTextFile(forceField);
    writeTextFile(forceField, text.substr(0, text.size() / 2));
    LammpsRun run = runOf(forceField, cubicCell());

    const LammpsRun::Outcome outcome = run.run();

    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.output.find("melta: cannot scan neural network @"), std::string::npos)
        << outcome.output;
    EXPECT_NE(outcome.output.find("ERROR: "), std::string::npos) << outcome.output;
}

// Some bytes do no harm; LAMMPS then ends well.
TEST_P(LammpsHosts, NoWrongByteIsACrash) {
    const std::string forceField = exportBaseline("classical");
    const std::string text = readTextFile(forceField);
    sharedRandom().seed(11);
    int numRefused = 0;
    for (int turn = 0; turn < 10; ++turn) {
        std::string damaged = text;
        for (std::size_t place = static_cast<std::size_t>(sharedRandom().draw()) % 500; place < text.size();
             place += 4000) {
            damaged[place] = static_cast<char>(sharedRandom().draw() % 256);
        }
        writeTextFile(forceField, damaged);

        const LammpsRun::Outcome outcome = runOf(forceField, cubicCell()).run();

        ASSERT_LE(outcome.status, 1) << outcome.output;
        if (outcome.status == 1) {
            ++numRefused;
            EXPECT_NE(outcome.output.find("melta: "), std::string::npos) << outcome.output;
            EXPECT_NE(outcome.output.find("ERROR: "), std::string::npos) << outcome.output;
        }
    }
    EXPECT_GE(numRefused, 3);
}

TEST_P(LammpsHosts, StopsAtElementsThatTheForceFieldLacks) {
    const std::string forceField = exportKind("behler");
    LammpsRun run = runOf(forceField, cubicCell(), "metal", {"O", "Si", "Fe"});

    const LammpsRun::Outcome outcome = run.run();

    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.output.find("ERROR: "), std::string::npos) << outcome.output;
    EXPECT_NE(outcome.output.find("Fe"), std::string::npos) << outcome.output;
}

INSTANTIATE_TEST_SUITE_P(Hosts, LammpsHosts, bothWaysOf("each"), nameOf);

} // namespace
} // namespace melta::test
