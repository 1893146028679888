#include "base/RandomSource.hpp"
#include "baseline/classical/ClassicalPot.hpp"
#include "baseline/reax/ReaxFieldText.hpp"
#include "baseline/reax/ReaxPot.hpp"
#include "baseline/zbl/ZblPot.hpp"
#include "potential/PotentialFixture.hpp"

#include <cmath>
#include <filesystem>

namespace melta::test {
namespace {

class ModelLoaderTest : public PotentialFixture {
protected:
    // What loading the directory, or reading the exported file, is refused with.
    [[nodiscard]] std::string refusalOfLoading() const {
        return refusalOf([this] { Potential::load(directory.path()); });
    }
    [[nodiscard]] std::string refusalOfReading() const {
        return refusalOf([this] { Potential::read(file("ffield.melta")); });
    }

    template <class Work>
    static std::string refusalOf(const Work& work) {
        try {
            work();
        } catch (const Error& error) {
            return error.what();
        }
        return "(none)";
    }

    // Expects the sums of networks and baseline from the directory and from the exported file.
    void expectWithBaseline(BaselinePotential& baseline, const std::string& baselineFile) {
        const Potential loaded = Potential::load(directory.path());
        const Potential read = Potential::read(exportModel(file(baselineFile)));
        Potential::Workspace workspace;
        Evaluation result;
        Geometry& geometry = *set->geometries.front();
        const Expected expected = expect(geometry);
        std::vector<float> energies(geometry.energies.size());
        std::vector<float> forces(geometry.forces.size());
        baseline.obtainEnergiesAndForces(&geometry, energies, forces);
        double size = 0.0;
        for (const float force : forces) {
            size = std::max(size, static_cast<double>(std::fabs(force)));
        }
        EXPECT_GE(size, 0.01);
        for (const Potential* const potential : {&loaded, &read}) {
            const PeriodicView view = viewOf(geometry, *potential);
            potential->evaluate(view.view(), Wish::energy | Wish::forces | Wish::virial | Wish::modelForces,
                                result, workspace);
            std::vector<double> folded(forces.size());
            view.fold(result.forces, folded);
            for (std::size_t a = 0; a < energies.size(); ++a) {
                EXPECT_NEAR(result.energies[a], expected.energies[a] + static_cast<double>(energies[a]),
                            1.0e-4 * (1.0 + size));
            }
            for (std::size_t i = 0; i < folded.size(); ++i) {
                EXPECT_NEAR(folded[i], expected.forces[i] + static_cast<double>(forces[i]),
                            1.0e-4 * (1.0 + size));
            }
            const std::size_t length = result.forces.size();
            for (std::size_t i = 0; i < length; ++i) {
                const double mean = (result.modelForces[i] + result.modelForces[length + i]) / 2.0;
                EXPECT_NEAR(mean, result.forces[i], 1.0e-9 * (1.0 + size));
            }
            double scale = 1.0;
            double trace = 0.0;
            for (std::size_t i = 0; i < length; ++i) {
                trace += view.view().positions[i] * result.forces[i];
                scale += std::fabs(view.view().positions[i] * result.forces[i]);
            }
            EXPECT_NEAR(result.virial[0] + result.virial[1] + result.virial[2], trace, 1.0e-6 * scale);
        }
    }
};

TEST_F(ModelLoaderTest, ClassicalBaselineIsIncluded) {
    property.withClassical = 1;
    makeModel();
    writeTextFile(file("melta.class"),
                  "2\nO 0.0\nSi 0.0\n"
                  "O O 30.0 -2.0 1.0 -4.0\nO Si 20.0 3.0 -1.0 -2.0\nSi Si 90.0 1.0 -1.0 0.5\n");
    ClassicalPot pot(set.get(), &property);
    outputOf([&] { pot.restoreParameters(file("melta.class")); });

    expectWithBaseline(pot, "melta.class");
}

TEST_F(ModelLoaderTest, ReaxFFBaselineIsIncluded) {
    property.withReaxFF = 1;
    property.rcutReaxFF = 2.4f;
    makeModel();
    // The force field knows oxygen alone.
    writeTextFile(file("ffield.reax"), makeReaxField().makeText());
    ReaxPot pot(static_cast<double>(property.rcutReaxFF), static_cast<double>(property.rateReaxFF),
                file("ffield.reax"));

    expectWithBaseline(pot, "ffield.reax");
}

TEST_F(ModelLoaderTest, RepulsionIsIncluded) {
    property.kindSettings["withZBL"] = 1.0;
    makeModel();
    const std::vector<ZblRadii> radii{
        {"O", "O", 1.0, 2.9}, {"O", "Si", 0.5, 2.8}, {"Si", "Si", 1.5, 3.0}, {"Fe", "O", 1.0, 2.0}};
    writeZblFile(file("melta.zbl"), radii);
    ZblPot pot(ZblTable(set->elemNames, radii, 3.5, "melta.zbl"));

    expectWithBaseline(pot, "melta.zbl");
}

TEST_F(ModelLoaderTest, RepulsionNeedsAllPairsOfTheElements) {
    property.kindSettings["withZBL"] = 1.0;
    makeModel();
    EXPECT_EQ(refusalOfLoading(), "cannot open file: " + file("melta.zbl"));
    writeTextFile(file("melta.zbl"), "2\nO O 1.0 2.9\nSi Si 1.5 3.0\n");

    EXPECT_EQ(refusalOfLoading(), "there are no radii of ZBL for Si and O: " + file("melta.zbl"));
    exportModel(file("melta.zbl"));
    EXPECT_EQ(refusalOfReading(), "there are no radii of ZBL for Si and O: " + file("ffield.melta"));
}

TEST_F(ModelLoaderTest, InfluenceReachesOverBonds) {
    property.withReaxFF = 1;
    property.rcutReaxFF = 5.0f;
    makeModel();
    writeTextFile(file("ffield.reax"), makeReaxField().makeText());

    EXPECT_EQ(Potential::load(directory.path()).influenceDistance(), 15.0);
}

TEST_F(ModelLoaderTest, MissingFilesAreNamed) {
    EXPECT_EQ(refusalOfLoading(), "cannot open file: " + file("melta.data"));
    EXPECT_EQ(refusalOfReading(), "cannot open file: " + file("ffield.melta"));
    property.withCharge = 1;
    property.withClassical = 1;
    makeModel();
    EXPECT_EQ(refusalOfLoading(), "cannot open file: " + file("melta.class"));
    writeTextFile(file("melta.class"), "2\nO 0.0\nSi 0.0\nO Si 20.0 3.0 -1.0 -2.0\n");
    EXPECT_EQ(refusalOfLoading(), "(none)");
    for (const char* const suffix : {"_q", "_e"}) {
        const std::string name = file("melta.data") + suffix;
        const std::string text = readTextFile(name);
        std::filesystem::remove(name);
        EXPECT_EQ(refusalOfLoading(), "cannot open file: " + name);
        writeTextFile(name, text);
    }
}

TEST_F(ModelLoaderTest, DamagedHeadsAreRefusedAsByATest) {
    makeModel();
    const std::string head = file("melta.data");
    const std::string text = readTextFile(head);
    const auto refusalOfHead = [&](const std::string& other) {
        writeTextFile(head, other);
        return refusalOfLoading();
    };
    const auto replaced = [&](std::size_t number, const std::string& line) {
        std::string result;
        std::size_t n = 0;
        for (std::size_t begin = 0; begin < text.size(); ++n) {
            const std::size_t end = text.find('\n', begin) + 1;
            result += n == number ? line + "\n" : text.substr(begin, end - begin);
            begin = end;
        }
        return result;
    };
    EXPECT_EQ(refusalOfHead(""), "cannot peek file: " + head);
    EXPECT_EQ(refusalOfHead(replaced(0, "9 1 1 0")), "cannot peek file: " + head);
    EXPECT_EQ(refusalOfHead(replaced(1, "0 2 3.5 3.5")), "incorrect #C2-functions of Chebyshev: " + head);
    EXPECT_EQ(refusalOfHead(replaced(1, "4 2 nan 3.5")), "cannot peek file: " + head);
    EXPECT_EQ(refusalOfHead(replaced(3, "2 4 99 2")),
              "incorrect activation of energy's neural network: " + head);
    EXPECT_EQ(refusalOfHead(replaced(3, "2 4")), "cannot peek file: " + head);
    EXPECT_EQ(refusalOfHead(replaced(4, "0")), "incorrect #elements: " + head);
    EXPECT_EQ(refusalOfHead(replaced(5, "Si 0.0 -1.0 14")),
              "deviation of symmetry functions is not positive: " + head);
    EXPECT_EQ(refusalOfHead(replaced(6, "Si 0.0 1.0 14")), "duplicate element (Si): " + head);
    EXPECT_EQ(refusalOfHead(text.substr(0, text.rfind("O "))), "cannot read element's data.");
    EXPECT_EQ(refusalOfHead(text), "(none)");
}

TEST_F(ModelLoaderTest, DamagedNetworksAreRefused) {
    makeModel();
    const std::string name = file("melta.data_e");
    const std::string text = readTextFile(name);
    writeTextFile(name, text.substr(0, text.size() / 3));
    EXPECT_EQ(refusalOfLoading().substr(0, 28), "cannot scan neural network @");
    writeTextFile(name, text + " 1.0");
    EXPECT_EQ(refusalOfLoading(), "there is text behind the last number: " + name);
}

// No byte that is wrong ends the process or is read over.
TEST_F(ModelLoaderTest, WrongBytesInAForceFieldAreRefusedOrHarmless) {
    property.withClassical = 1;
    property.withCharge = 1;
    makeModel();
    writeTextFile(file("melta.class"), "2\nO 0.0\nSi 0.0\nO Si 20.0 3.0 -1.0 -2.0\n");
    const std::string text = readTextFile(exportModel(file("melta.class")));
    sharedRandom().seed(3);
    int numRefused = 0;
    for (int turn = 0; turn < 300; ++turn) {
        std::string damaged = text;
        const auto place = static_cast<std::size_t>(sharedRandom().draw()) *
                           static_cast<std::size_t>(sharedRandom().draw()) % damaged.size();
        if (turn % 3 == 0) {
            damaged.resize(place);
        } else {
            damaged[place] = static_cast<char>(sharedRandom().draw() % 256);
        }
        writeTextFile(file("ffield.melta"), damaged);
        numRefused += refusalOfReading() == "(none)" ? 0 : 1;
    }
    EXPECT_GE(numRefused, 100);
}

} // namespace
} // namespace melta::test
