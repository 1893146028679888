// The pair style as a plugin.
#include "kim/KimFixture.hpp"
#include "lammps/LammpsRun.hpp"

namespace melta::test {
namespace {

class PluginTest : public KimFixture {
protected:
    void SetUp() override {
        if (std::string(MELTA_PLUGIN_HOST).empty()) {
            GTEST_SKIP() << "there is no LAMMPS that loads plugins";
        }
    }

    // A run with a part of the input between the cell and the potential.
    [[nodiscard]] LammpsRun runOf(const std::string& forceField, const std::string& load) const {
        LammpsRun run;
        run.program = MELTA_PLUGIN_HOST;
        run.unitsLines = "units metal";
        run.potentialLines = load + "pair_style melta\npair_coeff * * " + forceField + " O Si";
        run.types = {"O", "Si"};
        run.cell = cubicCell();
        return run;
    }
};

TEST_F(PluginTest, GivesThePairStyle) {
    const std::string forceField = exportBaseline("zbl");
    LammpsRun run = runOf(forceField, "plugin load " + std::string(MELTA_PLUGIN) + "\nplugin list\n");
    for (const int ranks : {1, 2}) {
        run.numRanks = ranks;

        const LammpsRun::Outcome outcome = run.run();

        ASSERT_EQ(outcome.status, 0) << outcome.output;
        EXPECT_NE(outcome.output.find("pair style plugin melta"), std::string::npos) << outcome.output;
        EXPECT_EQ(outcome.output.find("compiled for LAMMPS version"), std::string::npos) << outcome.output;
        expectSame(*outcome.result, evaluate(Potential::read(forceField), run.cell));
    }
}

TEST_F(PluginTest, WithoutItThereIsNoStyle) {
    const LammpsRun::Outcome outcome = runOf(exportKind("cluster"), "").run();

    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.output.find("Unrecognized pair style 'melta'"), std::string::npos) << outcome.output;
}

// The command "clear" takes styles away with everything else; a plugin can be loaded again.
TEST_F(PluginTest, CanBeLoadedAgain) {
    const std::string forceField = exportKind("cluster");
    const std::string load = "plugin load " + std::string(MELTA_PLUGIN) + "\n";
    LammpsRun run = runOf(forceField, load + "pair_style zero 3.0\nplugin unload pair melta\n" + load);

    const LammpsRun::Outcome outcome = run.run();

    ASSERT_EQ(outcome.status, 0) << outcome.output;
    expectSame(*outcome.result, evaluate(Potential::read(forceField), run.cell));
}

} // namespace
} // namespace melta::test
