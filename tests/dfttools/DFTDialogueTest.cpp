#include "dfttools/DFTDialogue.hpp"

#include "support/StandardInput.hpp"
#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>

namespace melta {
namespace {

using test::outputOf;
using test::StandardInput;

class JobDialogue : public testing::Test {
protected:
    std::string ask(int numAtoms, const std::string& answers) {
        const StandardInput input(answers);
        return outputOf([&] { jobs = askForDFTJobs(numAtoms); });
    }

    static bool metropolisWith(const std::string& answers) {
        const StandardInput input(answers);
        bool useMetropolis = false;
        const std::string output = outputOf([&] { useMetropolis = askForMetropolis(); });
        EXPECT_EQ(output, "\nusing the result of Metropolis (\"yes\" or \"no\") [default is yes]:\n>>> ");
        return useMetropolis;
    }

    void expectDefaults() const {
        EXPECT_EQ(jobs.shiftAtoms, 0.10);
        EXPECT_EQ(jobs.commandQE, "pw.exe");
        EXPECT_EQ(jobs.commandMPI, "mpiexec");
        EXPECT_EQ(jobs.numMPI, 2);
        EXPECT_EQ(jobs.numOMP, 1);
        EXPECT_TRUE(jobs.forTraining);
    }

    DFTJobs jobs;
};

} // namespace

TEST_F(JobDialogue, HasDefaultsForEmptyAnswers) {
    const std::string output = ask(3, "\n\n\n\n\n\n\n");

    EXPECT_EQ(jobs.numGeoms, 16666);
    expectDefaults();
    EXPECT_EQ(output, "\nnumber of geometries [default is 16666]:\n>>> "
                      "\n  * There are 16666 geometries.\n"
                      "\nshift of atomic positions [default is 0.10]:\n>>> "
                      "\n  * Atomic positions are shifted by 0.100 Angstroms.\n"
                      "\nexecutable file of Quantum ESPRESSO [default is pw.exe]:\n>>> "
                      "\n  * The command of Quantum ESPRESSO is \"pw.exe\".\n"
                      "\nexecutable file of MPI [default is mpiexec]:\n>>> "
                      "\n  * The command of MPI is \"mpiexec\".\n"
                      "\nnumber of MPI's processies [default is 2]:\n>>> "
                      "\n  * There are 2 processies of MPI.\n"
                      "\nnumber of OpenMP's threads [default is 1]:\n>>> "
                      "\n  * There is 1 thread of OMP.\n"
                      "\nthis data is for \"train\" or \"test\" [default is train]:\n>>> ");
}

TEST_F(JobDialogue, TakesTheAnswers) {
    const std::string output = ask(3, "1\n 0.0256 \n/opt/pw.x\nmpirun -v\n1\n4\ntest\n");

    EXPECT_EQ(jobs.numGeoms, 1);
    EXPECT_EQ(jobs.shiftAtoms, 0.0256);
    EXPECT_EQ(jobs.commandQE, "/opt/pw.x");
    EXPECT_EQ(jobs.commandMPI, "mpirun");
    EXPECT_EQ(jobs.numMPI, 1);
    EXPECT_EQ(jobs.numOMP, 4);
    EXPECT_FALSE(jobs.forTraining);
    for (const char* echo :
         {"\n  * There is 1 geometry.\n", "\n  * Atomic positions are shifted by 0.026 Angstroms.\n",
          "\n  * The command of Quantum ESPRESSO is \"/opt/pw.x\".\n",
          "\n  * The command of MPI is \"mpirun\".\n", "\n  * There is 1 process of MPI.\n",
          "\n  * There are 4 threads of OMP.\n"}) {
        EXPECT_NE(output.find(echo), std::string::npos) << echo;
    }
}

TEST_F(JobDialogue, KeepsTheDefaultsForUnusableAnswers) {
    for (const std::string answer : {"0", "-1", "many", "99999999999999999999"}) {
        const std::string numbers = answer + "\n" + answer;
        // The last one is a length that can be taken.
        const std::string length = answer.size() > 4 ? "inf" : answer;
        ask(3, answer + "\n" + length + "\n\n \n" + numbers + "\nboth\n");
        EXPECT_EQ(jobs.numGeoms, 16666) << answer;
        expectDefaults();
    }
    ask(3, "\nnan\n");
    expectDefaults();
}

TEST_F(JobDialogue, HasDefaultsWhenTheInputEnds) {
    ask(3, "");

    EXPECT_EQ(jobs.numGeoms, 16666);
    expectDefaults();
}

TEST_F(JobDialogue, WantsAbout50000Atoms) {
    const auto defaultFor = [&](int numAtoms) {
        ask(numAtoms, "");
        return jobs.numGeoms;
    };

    EXPECT_EQ(defaultFor(1), 50000);
    EXPECT_EQ(defaultFor(8), 6250);
    EXPECT_EQ(defaultFor(49999), 1);
    EXPECT_EQ(defaultFor(50001), 1);
}

TEST_F(JobDialogue, DoesNotAskForDisplacementsWithoutAtoms) {
    const std::string output = ask(0, "");

    EXPECT_EQ(jobs.numGeoms, 0);
    EXPECT_EQ(output.find("\nexecutable file of Quantum ESPRESSO [default is pw.exe]:\n"), 0U);
}

TEST_F(JobDialogue, TakesTrainAndTestOnly) {
    const auto isForTrainingWith = [&](const std::string& word) {
        ask(0, "\n\n\n\n" + word + "\n");
        return jobs.forTraining;
    };

    EXPECT_TRUE(isForTrainingWith("train"));
    EXPECT_FALSE(isForTrainingWith("test"));
    EXPECT_TRUE(isForTrainingWith("TEST"));
    EXPECT_TRUE(isForTrainingWith("testing"));
}

TEST_F(JobDialogue, UsesMetropolisUnlessToldOtherwise) {
    EXPECT_TRUE(metropolisWith("yes\n"));
    EXPECT_FALSE(metropolisWith("no\n"));
    EXPECT_TRUE(metropolisWith("No\n"));
    EXPECT_TRUE(metropolisWith("none\n"));
    EXPECT_TRUE(metropolisWith("\n"));
    EXPECT_TRUE(metropolisWith(""));
}

TEST_F(JobDialogue, AsksForATemplateUntilThereIsOne) {
    const StandardInput input("\n  \n pw.in and more\n");
    std::optional<std::string> name;

    const std::string output = outputOf([&] { name = askForTemplate(); });

    EXPECT_EQ(name, "pw.in");
    const std::string question = "\ninput file of Quantum ESPRESSO:\n>>> ";
    EXPECT_EQ(output, question + question + question);
}

TEST_F(JobDialogue, GivesUpWhenTheInputEnds) {
    const StandardInput input("\n");
    std::optional<std::string> name;

    const std::string output = outputOf([&] { name = askForTemplate(); });

    EXPECT_FALSE(name);
    const std::string question = "\ninput file of Quantum ESPRESSO:\n>>> ";
    EXPECT_EQ(output, question + question);
}

} // namespace melta
