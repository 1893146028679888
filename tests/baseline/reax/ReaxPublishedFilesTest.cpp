#include "baseline/reax/ReaxParam.hpp"

#include "baseline/reax/ReaxSystem.hpp"
#include "support/StopCatcher.hpp"

#include <gtest/gtest.h>

#include <cctype>
#include <cmath>
#include <filesystem>
#include <ostream>
#include <string>
#include <vector>

// Force fields as their authors published them. The tests are skipped where the system does not have them.
namespace melta {
namespace {

std::string pathOf(const std::string& name) {
    return (std::filesystem::path(MELTA_REAXFF_FILES) / name).string();
}

// A name that may stand in that of a test.
std::string makeTestName(const char* fileName) {
    std::string name;
    for (const char* c = fileName; *c != '\0'; ++c) {
        name.push_back(std::isalnum(static_cast<unsigned char>(*c)) != 0 ? *c : '_');
    }
    return name;
}

template <class File>
class FileTest : public ::testing::TestWithParam<File> {
protected:
    void SetUp() override {
        if (!std::filesystem::exists(fileName())) {
            GTEST_SKIP() << "there is no " << fileName();
        }
    }

    static std::string fileName() { return pathOf(FileTest::GetParam().name); }
};

struct GoodFile {
    const char* name;
    std::vector<int> atomicNumbers;
    bool withInnerWall;
};

void PrintTo(const GoodFile& file, std::ostream* out) {
    *out << file.name;
}

class ReaxGoodFileTest : public FileTest<GoodFile> {};

TEST_P(ReaxGoodFileTest, GivesFiniteTables) {
    const ReaxParam param(5.0, fileName());

    EXPECT_EQ(param.atomicNumbers, GetParam().atomicNumbers);
    EXPECT_TRUE(param.withShielding);
    EXPECT_EQ(param.withInnerWall, GetParam().withInnerWall);
    EXPECT_NEAR(param.pVdw1, 1.5591, 1.0e-12);
    EXPECT_GE(param.rcutVdw, 7.0);
    for (const auto* const table :
         {&param.pairRS, &param.pairDepth, &param.pairAlpha, &param.pairRVdw, &param.pairGammaW,
          &param.pairRcore, &param.pairEcore, &param.pairAcore, &param.pBoc3, &param.pBoc4, &param.pBoc5}) {
        for (const double entry : *table) {
            EXPECT_TRUE(std::isfinite(entry));
        }
    }
    for (int i = 0; i < param.numElems; ++i) {
        EXPECT_NE(param.isBonding[param.pairIndex(i, i)], 0) << i;
    }
}

// The molecule of hydrogen, which all of them know: its true depth is 109 kcal/mol.
TEST_P(ReaxGoodFileTest, BindsHydrogen) {
    const ReaxParam param(5.0, fileName());
    const auto cell = test::makeCubicCell(25.0f);
    const auto pairAt = [](float r) {
        return std::vector<test::ReaxSite>{{1, 5.0f, 5.0f, 5.0f}, {1, 5.0f + r, 5.0f, 5.0f}};
    };
    test::ReaxSystem molecule(param, pairAt(0.75f), cell);
    test::ReaxSystem atoms(param, pairAt(11.0f), cell);

    const double depth = atoms.obtainEnergy(atoms.positions) - molecule.obtainEnergy(molecule.positions);
    const double force = molecule.obtainForces(molecule.positions)[0];

    EXPECT_GT(depth, 60.0);
    EXPECT_LT(depth, 180.0);
    EXPECT_NEAR(force, molecule.differentiate(0), 1.0e-6 * std::fabs(force) + 1.0e-5);
}

INSTANTIATE_TEST_SUITE_P(Files, ReaxGoodFileTest,
                         ::testing::Values(GoodFile{"ffield.ci-reax.CH", {6, 1}, true},
                                           GoodFile{"ffield.reax.AuO", {1, 8, 79}, false},
                                           GoodFile{"ffield.reax.Fe_O_C_H", {6, 1, 8, 26}, false},
                                           GoodFile{"ffield.reax.budzien", {6, 1, 8, 7}, false},
                                           GoodFile{"ffield.reax.cho", {6, 1, 8}, false},
                                           GoodFile{"ffield.reax.mattsson", {6, 1, 8, 7, 16}, false},
                                           GoodFile{"ffield.reax.rdx", {6, 1, 8, 7}, false}),
                         [](const auto& file) { return makeTestName(file.param.name); });

// With a type that stands for no element, or with a fifth line for each type.
struct RefusedFile {
    const char* name;
    const char* message;
};

void PrintTo(const RefusedFile& file, std::ostream* out) {
    *out << file.name;
}

class ReaxRefusedFileTest : public FileTest<RefusedFile> {};

TEST_P(ReaxRefusedFileTest, Stops) {
    EXPECT_EQ(test::stopMessageOf([] { const ReaxParam param(5.0, fileName()); }), GetParam().message);
}

INSTANTIATE_TEST_SUITE_P(
    Files, ReaxRefusedFileTest,
    ::testing::Values(RefusedFile{"ffield.reax.AB", "incorrect atomic number: iatom=5"},
                      RefusedFile{"ffield.reax.FC", "incorrect atomic number: iatom=10"},
                      RefusedFile{"ffield.reax.V_O_C_H", "incorrect atomic number: iatom=5"},
                      RefusedFile{"ffield.reax.ZnOH", "incorrect atomic number: iatom=4"},
                      RefusedFile{"ffield.reax.lg", "cannot read a atomic parameter @1st-line : iatom=2"}),
    [](const auto& file) { return makeTestName(file.param.name); });

} // namespace
} // namespace melta
