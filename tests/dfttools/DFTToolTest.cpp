#include "dfttools/DFTTool.hpp"

#include "base/LineReader.hpp"
#include "base/RandomSource.hpp"
#include "support/FileSizeLimit.hpp"
#include "support/StandardInput.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <type_traits>

namespace fs = std::filesystem;

namespace melta {
namespace {

using test::FileSizeLimit;
using test::outputOf;
using test::readTextFile;
using test::StandardInput;
using test::stopMessageOf;
using test::writeTextFile;

const std::string headText = "tprnfor=t, tmelta=t, nosym=t, ibrav=0, nat=2\n";
const std::string atomText = "ATOMIC_POSITIONS angstrom\nSi 0 0 0\nSi 1.35 1.35 1.35\n";
const std::string tailText = "K_POINTS gamma\n";

const std::string echoOfAtoms =
    "\n  * There are 2 atoms.\n\n  * There is 1 element.\n        Si    ->     2 atoms\n";
const std::string echoOfCommands = "\nexecutable file of Quantum ESPRESSO [default is pw.exe]:\n>>> "
                                   "\n  * The command of Quantum ESPRESSO is \"pw.exe\".\n"
                                   "\nexecutable file of MPI [default is mpiexec]:\n>>> "
                                   "\n  * The command of MPI is \"mpiexec\".\n"
                                   "\nnumber of MPI's processies [default is 2]:\n>>> "
                                   "\n  * There are 2 processies of MPI.\n"
                                   "\nnumber of OpenMP's threads [default is 1]:\n>>> "
                                   "\n  * There is 1 thread of OMP.\n"
                                   "\nthis data is for \"train\" or \"test\" [default is train]:\n>>> ";

std::string echoOfGeometries(const std::string& count, const std::string& shift) {
    return "\nnumber of geometries [default is 25000]:\n>>> \n  * There " + count +
           ".\n\nshift of atomic positions [default is 0.10]:\n>>> "
           "\n  * Atomic positions are shifted by " +
           shift + " Angstroms.\n";
}

std::string echoOfScript(const std::string& kind, const std::string& name, const std::string& data) {
    return "\n  * " + kind + " script file \"" + name + "\" is written, which will generate " + data + ".\n";
}

const std::string echoOfScripts = echoOfScript("Batch", "dft_run.bat", "training data \"melta.train\"") +
                                  echoOfScript("Shell", "dft_run.sh", "training data \"melta.train\"") + "\n";

// Runs in a directory of its own with the template "pw.in" in it.
class Jobs : public testing::Test {
protected:
    Jobs() {
        writeTextFile("pw.in", headText + atomText + tailText);
        sharedRandom().seed(1);
    }

    static void addGeometries(int count) {
        fs::create_directory("dft_geom");
        for (int i = 1; i <= count; ++i) {
            writeTextFile("dft_geom/geom." + std::to_string(i), "geometry " + std::to_string(i) + "\n");
        }
    }

    static std::string generate(const std::string& answers, DFTTool tool = DFTTool("pw.in")) {
        const StandardInput input(answers);
        return outputOf([&] { tool.generateJobs("melta.train", "melta.test"); });
    }

    // Names and contents of all files but the template.
    static std::map<std::string, std::string> written() {
        std::map<std::string, std::string> files;
        for (const auto& entry : fs::recursive_directory_iterator(".")) {
            const std::string name = entry.path().lexically_relative(".").string();
            if (!entry.is_directory() && name != "pw.in" && !name.starts_with("dft_geom")) {
                files[name] = readTextFile(name);
            }
        }
        return files;
    }

    static std::vector<std::string> namesWritten() {
        std::vector<std::string> names;
        for (const auto& [name, text] : written()) {
            names.push_back(name);
        }
        return names;
    }

    test::TemporaryDirectory directory;
    test::WorkingDirectory inside{directory.path()};
};

} // namespace

TEST_F(Jobs, AreDisplacedConfigurations) {
    const std::string output = generate("3\n\n");

    EXPECT_EQ(output,
              echoOfAtoms + echoOfGeometries("are 3 geometries", "0.100") + echoOfCommands + echoOfScripts);
    EXPECT_EQ(namesWritten(), (std::vector<std::string>{"dft_inp/inp.1", "dft_inp/inp.2", "dft_inp/inp.3",
                                                        "dft_run.bat", "dft_run.sh"}));
    const std::string first = readTextFile("dft_inp/inp.1");
    EXPECT_EQ(first.find(headText + "ATOMIC_POSITIONS angstrom\nSi     "), 0U);
    EXPECT_TRUE(first.ends_with("\n" + tailText));
    EXPECT_NE(readTextFile("dft_inp/inp.2"), first);
    EXPECT_NE(readTextFile("dft_run.sh").find("for i in `seq 3`\n"), std::string::npos);
    EXPECT_NE(readTextFile("dft_run.bat").find(" in (1,1,3) do (\n"), std::string::npos);
}

TEST_F(Jobs, ComeFromTheSharedRandomSource) {
    generate("2\n");
    const auto first = written();
    generate("2\n");
    const auto other = written();
    sharedRandom().seed(1);
    generate("2\n");

    EXPECT_NE(other, first);
    EXPECT_EQ(written(), first);
}

TEST_F(Jobs, MayBeForTesting) {
    const std::string output = generate("1\n\n\n\n\n\ntest\n");

    EXPECT_TRUE(output.ends_with(echoOfScript("Batch", "dft_run.bat", "testing data \"melta.test\"") +
                                 echoOfScript("Shell", "dft_run.sh", "testing data \"melta.test\"") + "\n"));
    EXPECT_NE(readTextFile("dft_run.sh").find("touch melta.test\n"), std::string::npos);
    EXPECT_NE(readTextFile("dft_run.bat").find("type nul > melta.test\n"), std::string::npos);
    EXPECT_FALSE(fs::exists("melta.test"));
}

TEST_F(Jobs, AreTheGeometriesOfMetropolisIfThereAreSome) {
    addGeometries(12);
    fs::remove("dft_geom/geom.11");

    const std::string output = generate("");

    EXPECT_EQ(output, "\nusing the result of Metropolis (\"yes\" or \"no\") [default is yes]:\n>>> "
                      "\n  * The geometries of Metropolis is used.\n" +
                          echoOfCommands + echoOfScripts);
    EXPECT_EQ(written().size(), 12U);
    EXPECT_EQ(readTextFile("dft_inp/inp.10"), headText + tailText + "geometry 10\n");
    EXPECT_NE(readTextFile("dft_run.sh").find("for i in `seq 10`\n"), std::string::npos);
}

TEST_F(Jobs, AreThoseOfMetropolisForAnyAnswerButNo) {
    addGeometries(1);

    generate("maybe\n");

    EXPECT_EQ(readTextFile("dft_inp/inp.1"), headText + tailText + "geometry 1\n");
}

TEST_F(Jobs, AreDisplacedConfigurationsIfMetropolisIsDeclined) {
    addGeometries(3);

    const std::string output = generate("no\n1\n");

    EXPECT_EQ(output, "\nusing the result of Metropolis (\"yes\" or \"no\") [default is yes]:\n>>> "
                      "\n  * The geometries of Metropolis is NOT used.\n" +
                          echoOfAtoms + echoOfGeometries("is 1 geometry", "0.100") + echoOfCommands +
                          echoOfScripts);
    EXPECT_EQ(readTextFile("dft_inp/inp.1").find("geometry"), std::string::npos);
}

TEST_F(Jobs, NeedTheFirstGeometryOfMetropolis) {
    addGeometries(2);
    fs::remove("dft_geom/geom.1");

    const std::string output = generate("1\n");

    EXPECT_EQ(output.find(echoOfAtoms), 0U);
}

TEST_F(Jobs, AskForTheTemplateWhenItIsNotGiven) {
    const std::string question = "\ninput file of Quantum ESPRESSO:\n>>> ";

    EXPECT_EQ(generate("\npw.in\n1\n", DFTTool()).find(question + question + echoOfAtoms), 0U);
    EXPECT_EQ(generate("pw.in\n1\n", DFTTool("")).find(question + echoOfAtoms), 0U);
    EXPECT_EQ(generate("", DFTTool()), question);
}

TEST_F(Jobs, EndWithAnUnusableTemplate) {
    EXPECT_EQ(generate("", DFTTool("missing")), "\ncannot open the file: missing\n\n");
    EXPECT_EQ(generate("", DFTTool(".")), "\ncannot open the file: .\n\n");
    writeTextFile("pw.in", headText + "ATOMIC_POSITIONS angstrom\nSi 0 0 0\nSi 1.35 1.35\n");
    EXPECT_EQ(generate(""), "\nincorrect line in ATOMIC_POSITIONS:\n  Si 1.35 1.35\n\n");
    EXPECT_TRUE(written().empty());
}

TEST_F(Jobs, KeepAnExistingDirectoryAndTellWhatIsLeft) {
    const auto leftLine = [](const std::string& count) {
        return "\n  * There " + count + " of an earlier run left in the directory: dft_inp\n";
    };
    fs::create_directory("dft_inp");
    for (const char* const name : {"inp.1", "inp.7", "inp.07", "inp.7.new", "inp.", "inp.x", "out.9"}) {
        writeTextFile("dft_inp/" + std::string(name), "older\n");
    }

    std::string output = generate("2\n");
    EXPECT_TRUE(output.ends_with(">>> " + leftLine("is 1 input file") + echoOfScripts));
    EXPECT_NE(readTextFile("dft_inp/inp.1"), "older\n");
    EXPECT_EQ(readTextFile("dft_inp/inp.7"), "older\n");

    output = generate("1\n");
    EXPECT_TRUE(output.ends_with(">>> " + leftLine("are 2 input files") + echoOfScripts));

    output = generate("7\n");
    EXPECT_TRUE(output.ends_with(">>> " + echoOfScripts));
}

TEST_F(Jobs, KeepACopyOfTheDataThatTheScriptsReplace) {
    const auto warning = [](const std::string& data, const std::string& copy) {
        return "\n  * WARNING: the scripts will replace the file \"" + data + "\", a copy of which is \"" +
               copy + "\".\n";
    };
    writeTextFile("melta.train", "precious\n");
    writeTextFile("melta.test", "tested\n");

    std::string output = generate("1\n");
    EXPECT_TRUE(output.ends_with(">>> " + warning("melta.train", "melta.train.kept") + echoOfScripts));
    EXPECT_EQ(readTextFile("melta.train.kept"), "precious\n");
    EXPECT_EQ(readTextFile("melta.train"), "precious\n");
    EXPECT_FALSE(fs::exists("melta.test.kept"));

    output = generate("1\n\n\n\n\n\ntest\n");
    EXPECT_NE(output.find(">>> " + warning("melta.test", "melta.test.kept")), std::string::npos);
    EXPECT_EQ(readTextFile("melta.test.kept"), "tested\n");

    writeTextFile("melta.train", "more\n");
    output = generate("1\n");
    EXPECT_TRUE(output.ends_with(">>> " + warning("melta.train", "melta.train.kept.2") + echoOfScripts));
    EXPECT_EQ(readTextFile("melta.train.kept"), "precious\n");
}

TEST_F(Jobs, WriteNoScriptWhenTheDataCannotBeKept) {
    writeTextFile("melta.train", std::string(1000, 'x'));
    const FileSizeLimit limit(300); // enough for an input file

    EXPECT_EQ(stopMessageOf([] { generate("1\n"); }), "cannot write file: melta.train.kept");

    EXPECT_EQ(namesWritten(), (std::vector<std::string>{"dft_inp/inp.1", "melta.train"}));
}

TEST_F(Jobs, EndWithoutTheirDirectory) {
    writeTextFile("dft_inp", "a file\n");

    const std::string output = generate("1\n");

    EXPECT_TRUE(output.ends_with(">>> \ncannot make directory: dft_inp\n\n"));
    EXPECT_EQ(namesWritten(), std::vector<std::string>{"dft_inp"});
}

TEST_F(Jobs, EndAtAnInputThatCannotBeOpened) {
    fs::create_directories("dft_inp/inp.2");

    const std::string output = generate("3\n");

    EXPECT_TRUE(output.ends_with(">>> \ncannot open the file: dft_inp/inp.2\n\n"));
    EXPECT_EQ(namesWritten(), std::vector<std::string>{"dft_inp/inp.1"});
}

TEST_F(Jobs, EndAtAGeometryThatCannotBeOpened) {
    addGeometries(1);
    fs::create_directory("dft_geom/geom.2");

    const std::string output = generate("");

    EXPECT_TRUE(output.ends_with(">>> \ncannot open the file: dft_geom/geom.2\n\n"));
    EXPECT_FALSE(fs::exists("dft_run.sh"));
}

TEST_F(Jobs, LackAScriptThatCannotBeOpened) {
    fs::create_directory("dft_run.bat");
    std::string output = generate("1\n");
    EXPECT_TRUE(output.ends_with(">>> \ncannot open the file: dft_run.bat\n\n" +
                                 echoOfScript("Shell", "dft_run.sh", "training data \"melta.train\"") +
                                 "\n"));

    fs::remove("dft_run.bat");
    fs::remove("dft_run.sh");
    fs::create_directory("dft_run.sh");
    output = generate("1\n");
    EXPECT_TRUE(output.ends_with(echoOfScript("Batch", "dft_run.bat", "training data \"melta.train\"") +
                                 "\ncannot open the file: dft_run.sh\n\n\n"));
}

TEST_F(Jobs, KeepTheOldScriptWhenTheMediumIsFull) {
    writeTextFile("dft_run.bat", "older\n");
    const FileSizeLimit limit(300); // enough for an input file and not for a script

    EXPECT_EQ(stopMessageOf([] { generate("1\n"); }), "cannot write file: dft_run.bat");

    EXPECT_EQ(readTextFile("dft_run.bat"), "older\n");
    EXPECT_EQ(namesWritten(), (std::vector<std::string>{"dft_inp/inp.1", "dft_run.bat"}));
}

TEST_F(Jobs, BelongToAToolThatMayBeDerivedFrom) {
    EXPECT_TRUE(std::has_virtual_destructor_v<DFTTool>);
}

} // namespace melta
