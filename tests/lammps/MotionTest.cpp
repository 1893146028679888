// Motion over time, by the KIM API and by the pair style.
#include "kim/KimFixture.hpp"
#include "lammps/LammpsRun.hpp"

#include <algorithm>
#include <array>
#include <sstream>

namespace melta::test {
namespace {

// Energies over time, eV.
struct Course {
    std::vector<double> potential;
    std::vector<double> total;
};

class MotionTest : public KimFixture, public testing::WithParamInterface<std::string> {
protected:
    void SetUp() override {
        const bool isKim = GetParam() == "kim";
        program = isKim ? (std::string(MELTA_KIM_LIBRARY).empty() ? "" : "lmp") : LMP_MELTA;
        if (program.empty() || !LammpsRun::isThere(program)) {
            GTEST_SKIP() << "there is no LAMMPS for this host";
        }
    }

    // The course of the run command behind the potential.
    Course follow(const std::string& forceField, const std::string& commands) {
        LammpsRun run;
        run.program = program;
        run.types = {"O", "Si"};
        run.cell = cubicCell();
        const bool isKim = GetParam() == "kim";
        run.unitsLines = isKim ? "kim init " + installModel(forceField) + " metal" : "units metal";
        run.potentialLines =
            isKim ? "kim interactions O Si" : "pair_style melta\npair_coeff * * " + forceField + " O Si";
        run.potentialLines += "\nthermo_style custom step pe etotal\n"
                              "thermo_modify format float %.12g norm no\n" +
                              commands;
        const LammpsRun::Outcome outcome = run.run();
        EXPECT_EQ(outcome.status, 0) << outcome.output;
        return courseOf(outcome.output);
    }

    static Course courseOf(const std::string& output) {
        Course course;
        const std::size_t head = output.find("Step PotEng TotEng");
        std::istringstream stream(output.substr(std::min(head, output.size())));
        std::string line;
        for (std::getline(stream, line); std::getline(stream, line) && !line.starts_with("Loop time");) {
            std::istringstream numbers(line);
            std::array<double, 3> row{};
            if (numbers >> row[0] >> row[1] >> row[2]) {
                course.potential.push_back(row[1]);
                course.total.push_back(row[2]);
            }
        }
        return course;
    }

    static double rangeOf(const std::vector<double>& values) {
        return std::ranges::max(values) - std::ranges::min(values);
    }

    std::string program;
};

// Potential energy becomes kinetic energy and comes back; their sum stays, with steps that are short enough.
// Half the step leaves a quarter of what it does not keep.
TEST_P(MotionTest, KeepsTheTotalEnergy) {
    const std::string forceField = exportBaseline("zbl");
    const std::string begin = "neighbor 0.6 bin\nneigh_modify every 1 delay 0 check yes\n"
                              "velocity all create 600 4321\nfix 1 all nve\nthermo 5\n";

    const Course coarse = follow(forceField, begin + "timestep 0.0005\nrun 1000\n");
    const Course fine = follow(forceField, begin + "timestep 0.00025\nrun 2000\n");

    ASSERT_EQ(coarse.total.size(), 201U);
    ASSERT_EQ(fine.total.size(), 401U);
    EXPECT_GE(rangeOf(coarse.potential), 0.5);
    EXPECT_LE(rangeOf(coarse.total), 0.002 * rangeOf(coarse.potential));
    EXPECT_LE(rangeOf(fine.total), 0.35 * rangeOf(coarse.total));
}

std::string nameOf(const testing::TestParamInfo<std::string>& instance) {
    return instance.param;
}

INSTANTIATE_TEST_SUITE_P(Hosts, MotionTest, testing::Values("kim", "pairStyle"), nameOf);

} // namespace
} // namespace melta::test
