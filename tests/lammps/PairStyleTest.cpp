// What the pair style has beyond the KIM API.
#include "lammps/PairStyleFixture.hpp"

#include <sstream>

namespace melta::test {
namespace {

class PairStyleTest : public PairStyleFixture {};

TEST_F(PairStyleTest, TypesWithoutElementDoNothing) {
    const std::string forceField = exportKind("chebyshev");
    HostCell cell = cubicCell();
    const HostResult expected = evaluate(Potential::read(forceField), cell);
    cell.labels.emplace_back("wall");
    cell.positions.insert(cell.positions.end(), {0.7, 0.9, 1.1});

    const auto outcome =
        runOf(cell, "pair_style melta\npair_coeff * * " + forceField + " O NULL Si", {"O", "wall", "Si"})
            .run();

    ASSERT_EQ(outcome.status, 0) << outcome.output;
    HostResult found = *outcome.result;
    EXPECT_EQ(found.energies.back(), 0.0);
    EXPECT_EQ(found.forces.back(), 0.0);
    found.energies.resize(expected.energies.size());
    found.forces.resize(expected.forces.size());
    found.virials.resize(expected.virials.size());
    expectSame(found, expected);
}

TEST_F(PairStyleTest, OtherStylesMayLieOverIt) {
    const std::string forceField = exportKind("chebyshev");
    const HostCell cell = cubicCell();
    const std::string other = "pair_coeff * * lj/cut 0.1 1.2\n";
    const auto alone = runOf(cell, "pair_style lj/cut 3.0\npair_coeff * * 0.1 1.2\n").run();

    const auto both = runOf(cell, "pair_style hybrid/overlay melta lj/cut 3.0\npair_coeff * * melta " +
                                      forceField + " O Si\n" + other)
                          .run();

    ASSERT_EQ(alone.status, 0) << alone.output;
    ASSERT_EQ(both.status, 0) << both.output;
    HostResult expected = evaluate(Potential::read(forceField), cell);
    EXPECT_GE(std::abs(alone.result->energy), 0.01);
    expected.energy += alone.result->energy;
    for (std::size_t i = 0; i < expected.forces.size(); ++i) {
        expected.forces[i] += alone.result->forces[i];
    }
    expectSame({both.result->energy}, {expected.energy}, "energy");
    expectSame(both.result->forces, expected.forces, "forces");
}

// Pairs with a type that has no element here belong to the other style.
TEST_F(PairStyleTest, OtherStylesMayStandBesideIt) {
    const std::string forceField = exportKind("chebyshev");
    HostCell cell = cubicCell();
    const HostResult ours = evaluate(Potential::read(forceField), cell);
    cell.labels.emplace_back("wall");
    cell.positions.insert(cell.positions.end(), {0.7, 0.9, 1.1});
    const std::vector<std::string> types{"O", "wall", "Si"};
    const auto coefficients = [](const std::string& style) {
        return "pair_coeff 1 2 " + style + " 0.1 1.2\npair_coeff 2 2 " + style + " 0.1 1.2\npair_coeff 2 3 " +
               style + " 0.1 1.2\n";
    };
    const auto theirs =
        runOf(cell, "pair_style lj/cut 3.0\npair_coeff * * 0.0 1.0\n" + coefficients(""), types).run();

    const auto both = runOf(cell,
                            "pair_style hybrid melta lj/cut 3.0\npair_coeff * * melta " + forceField +
                                " O NULL Si\n" + coefficients("lj/cut"),
                            types)
                          .run();

    ASSERT_EQ(theirs.status, 0) << theirs.output;
    ASSERT_EQ(both.status, 0) << both.output;
    EXPECT_GE(std::abs(theirs.result->energy), 0.01);
    expectSame({both.result->energy}, {ours.energy + theirs.result->energy}, "energy");
    std::vector<double> forces = theirs.result->forces;
    for (std::size_t i = 0; i < ours.forces.size(); ++i) {
        forces[i] += ours.forces[i];
    }
    expectSame(both.result->forces, forces, "forces");
}

// Energy, forces, virials, spread and novelty, beside a baseline and a type without element.
TEST_F(PairStyleTest, ThreadsChangeNothingButRounding) {
    const std::string forceField = exportBaseline("zbl");
    HostCell cell = cubicCell();
    // Denser than the data, so that there is something new.
    std::ranges::transform(cell.cell, cell.cell.begin(), [](double x) { return 0.8 * x; });
    std::ranges::transform(cell.positions, cell.positions.begin(), [](double x) { return 0.8 * x; });
    cell.labels.emplace_back("wall");
    cell.positions.insert(cell.positions.end(), {0.7, 0.9, 1.1});
    const auto runWith = [&](int threads) {
        return runOf(cell,
                     "pair_style melta threads " + std::to_string(threads) +
                         " spread 1 novelty 1\npair_coeff * * " + forceField + " O NULL Si\nreplicate 2 2 2",
                     {"O", "wall", "Si"});
    };
    const auto reportOf = [](const std::string& output) {
        const std::size_t place = output.find("melta: step 0");
        return place == std::string::npos ? output : output.substr(place, output.find('\n', place) - place);
    };
    const auto expected = runWith(1).run();
    ASSERT_EQ(expected.status, 0) << expected.output;
    for (const int ranks : {1, 2}) {
        LammpsRun run = runWith(2);
        run.numRanks = ranks;

        const auto found = run.run();

        ASSERT_EQ(found.status, 0) << found.output;
        const auto& [energy, energies, forces, virial, virials] = *found.result;
        expectSame({energy}, {expected.result->energy}, "energy", 1.0e-9);
        expectSame(energies, expected.result->energies, "energies", 1.0e-9);
        expectSame(forces, expected.result->forces, "forces", 1.0e-9);
        expectSame({virial.begin(), virial.end()},
                   {expected.result->virial.begin(), expected.result->virial.end()}, "virial", 1.0e-9);
        expectSame(virials, expected.result->virials, "virials", 1.0e-9);
        EXPECT_EQ(reportOf(found.output), reportOf(expected.output));
    }
    EXPECT_GE(numberBehind(expected.output, "largest spread of forces"), 1.0e-3);
    EXPECT_GE(numberBehind(expected.output, "of energies"), 1.0e-6);
    EXPECT_EQ(expected.result->forces.size(), 3U * 8U * 5U);
}

// The spread of atoms in a periodic cell: the forces of each model are those of atoms with all their images.
TEST_F(PairStyleTest, ReportsTheSpreadOfTheCommittee) {
    const std::string forceField = exportBaseline("zbl");
    const Potential potential = Potential::read(forceField);
    HostCell cell = cubicCell();
    // Denser than the data, so that there is something new.
    std::ranges::transform(cell.cell, cell.cell.begin(), [](double x) { return 0.8 * x; });
    std::ranges::transform(cell.positions, cell.positions.begin(), [](double x) { return 0.8 * x; });
    std::vector<int> elements;
    for (const std::string& label : cell.labels) {
        elements.push_back(potential.elementIndex(label));
    }
    const PeriodicView view(cell.cell, cell.positions, elements, potential.influenceDistance());
    Potential::Workspace workspace;
    Evaluation result;
    potential.evaluate(view.view(), Wish::modelForces | Wish::modelEnergies | Wish::novelty, result,
                       workspace);
    const std::size_t length = 3 * static_cast<std::size_t>(view.view().numAtoms);
    std::vector<double> first(cell.positions.size());
    std::vector<double> second(cell.positions.size());
    view.fold(std::span(result.modelForces).first(length), first);
    view.fold(std::span(result.modelForces).last(length), second);
    double spread = 0.0;
    for (std::size_t i = 0; i < first.size(); i += 3) {
        spread = std::max(spread, std::hypot(first[i] - second[i], first[i + 1] - second[i + 1],
                                             first[i + 2] - second[i + 2]) /
                                      2.0);
    }
    const double ofEnergies =
        *std::max_element(result.energyDeviations.begin(),
                          result.energyDeviations.begin() + static_cast<std::ptrdiff_t>(elements.size()));
    LammpsRun run = runOf(cell, "pair_style melta spread 1 novelty 1\npair_coeff * * " + forceField + R"( O Si
fix spread all property/atom d_forceSpread
compute spread all property/atom d_forceSpread
compute largest all reduce max c_spread
compute report all pair melta
thermo_style custom step c_largest c_report[1] c_report[3]
thermo_modify format float %.9g
neighbor 0.6 bin
run 0
)");
    for (const int ranks : {1, 2}) {
        run.numRanks = ranks;

        const auto outcome = run.run();

        ASSERT_EQ(outcome.status, 0) << outcome.output;
        EXPECT_NEAR(numberBehind(outcome.output, "largest spread of forces"), spread, 1.0e-3 * spread);
        EXPECT_NEAR(numberBehind(outcome.output, "of energies"), ofEnergies, 1.0e-3 * ofEnergies);
        const std::string thermo = "c_largest c_report[1] c_report[3] \n       0";
        const std::size_t row = outcome.output.find(thermo);
        ASSERT_NE(row, std::string::npos) << outcome.output;
        std::istringstream numbers(outcome.output.substr(row + thermo.size()));
        std::array<double, 3> found{};
        numbers >> found[0] >> found[1] >> found[2];
        EXPECT_NEAR(found[0], spread, 1.0e-4 * spread);
        EXPECT_NEAR(found[1], spread, 1.0e-4 * spread);
        EXPECT_EQ(found[2], result.numNovel);
        EXPECT_NE(outcome.output.find(", " + std::to_string(result.numNovel) + " novel atoms\n"),
                  std::string::npos)
            << outcome.output;
    }
    EXPECT_GE(spread, 1.0e-3);
    EXPECT_GE(result.numNovel, 1);
}

TEST_F(PairStyleTest, ALimitWarnsOrEndsTheRun) {
    const std::string forceField = exportKind("chebyshev");
    const std::string coefficients = "\npair_coeff * * " + forceField + " O Si";

    const auto warned = runOf(cubicCell(), "pair_style melta spread 1 warn 1.0e-6" + coefficients).run();
    const auto quiet = runOf(cubicCell(), "pair_style melta spread 1 warn 1.0e6" + coefficients).run();

    EXPECT_EQ(warned.status, 0) << warned.output;
    EXPECT_NE(warned.output.find("WARNING: melta: the spread of forces exceeds 1e-06"), std::string::npos);
    EXPECT_EQ(quiet.output.find("exceeds"), std::string::npos) << quiet.output;
    EXPECT_EQ(complaintOf(runOf(cubicCell(), "pair_style melta spread 1 stop 1.0e-6" + coefficients)),
              "ERROR: melta: the spread of forces exceeds 1e-06");
}

TEST_F(PairStyleTest, RefusesWhatItCannotDo) {
    const std::string forceField = exportKind("chebyshev");
    const std::string coefficients = "\npair_coeff * * " + forceField + " O Si\n";
    const HostCell cell = cubicCell();

    EXPECT_EQ(complaintOf(runOf(cell, "pair_style melta" + coefficients +
                                          "run_style respa 2 2 pair 1 kspace 2\nfix 1 all nve\n")),
              "ERROR: melta: there are no parts of the forces for run_style respa");
    EXPECT_EQ(complaintOf(runOf(cell, "pair_style melta spread\n")),
              "ERROR: melta: there is no number behind spread");
    EXPECT_EQ(complaintOf(runOf(cell, "pair_style melta spread no\n")),
              "ERROR: melta: is no positive number behind spread: no");
    for (const std::string number : {"0", "-1", "two"}) {
        EXPECT_EQ(complaintOf(runOf(cell, "pair_style melta threads " + number + "\n")),
                  "ERROR: melta: is no positive number behind threads: " + number);
    }
    EXPECT_EQ(complaintOf(runOf(cell, "pair_style melta threads 1000000\n")),
              "ERROR: melta: number of threads is out of range.");
    EXPECT_EQ(complaintOf(runOf(cell, "pair_style melta speed 1\n")),
              "ERROR: melta: is no option of pair_style melta: speed");
    EXPECT_EQ(complaintOf(runOf(cell, "pair_style melta warn 1\n")),
              "ERROR: melta: a limit needs the option spread");
    EXPECT_EQ(complaintOf(runOf(cell, "pair_style melta spread 1 dump found.xyz\n")),
              "ERROR: melta: the option dump needs warn or stop");
    EXPECT_EQ(complaintOf(runOf(cell, "pair_style melta spread 1 warn 1 dump\n")),
              "ERROR: melta: there is no file behind dump");
    EXPECT_EQ(complaintOf(runOf(cell, "pair_style melta spread 1 warn 1 dump none/found.xyz\n")),
              "ERROR: melta: cannot open file: none/found.xyz");
    EXPECT_EQ(complaintOf(runOf(cell, "pair_style melta\npair_coeff * * none O Si\n")),
              "ERROR: melta: cannot open file: none");
    EXPECT_EQ(complaintOf(runOf(cell, "pair_style melta\npair_coeff * * " + forceField + " O\n")),
              "ERROR: melta: pair_coeff wants * *, a force field and the element of each atom type");
    LammpsRun run = runOf(cell, "pair_style melta" + coefficients);
    run.unitsLines = "units metal\nnewton off";
    EXPECT_EQ(complaintOf(run), "ERROR: melta: pair style melta needs newton on");
    run.unitsLines = "units electron";
    EXPECT_EQ(complaintOf(run), "ERROR: melta: pair style melta needs units metal or real");
}

} // namespace
} // namespace melta::test
