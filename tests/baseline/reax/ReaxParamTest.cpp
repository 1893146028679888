#include "baseline/reax/ReaxParam.hpp"

#include "baseline/reax/ReaxFieldText.hpp"
#include "support/StopCatcher.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace melta {
namespace {

class ReaxParamTest : public ::testing::Test {
protected:
    std::unique_ptr<ReaxParam> read(const test::ReaxFieldText& field, double rcut = 5.0) {
        test::writeTextFile(fileName, field.makeText());
        return std::make_unique<ReaxParam>(rcut, fileName);
    }

    std::string stopOf(const std::string& text) {
        test::writeTextFile(fileName, text);
        return test::stopMessageOf([&] { const ReaxParam param(5.0, fileName); });
    }

    // The stop when a line of a sound file says something else.
    std::string stopWith(std::size_t line, const std::string& text) {
        std::vector<std::string> lines = sample.makeLines();
        lines.at(line) = text;
        return stopOf(test::joinLines(lines));
    }

    // The stop when the file ends before a line.
    std::string stopCutAt(std::size_t line) {
        std::vector<std::string> lines = sample.makeLines();
        lines.resize(line);
        return stopOf(test::joinLines(lines));
    }

    void expectStop(std::size_t line, const std::string& badText, const std::string& message) {
        EXPECT_EQ(stopWith(line, badText), message);
        EXPECT_EQ(stopCutAt(line), message);
    }

    test::TemporaryDirectory directory;
    std::string fileName = directory.file("ffield.reax");
    test::ReaxFieldText sample = test::makeReaxField();
};

TEST_F(ReaxParamTest, GeneralParametersComeFromTheirLines) {
    for (std::size_t k = 0; k < sample.general.size(); ++k) {
        sample.general[k] = static_cast<double>(k + 1);
    }

    const auto param = read(sample);

    EXPECT_EQ(param->pBoc1, 1.0);
    EXPECT_EQ(param->pBoc2, 2.0);
    EXPECT_EQ(param->pOvun6, 7.0);
    EXPECT_EQ(param->pOvun7, 9.0);
    EXPECT_EQ(param->pOvun8, 10.0);
    EXPECT_EQ(param->tapLower, 12.0);
    EXPECT_EQ(param->tapUpper, 13.0);
    EXPECT_EQ(param->rcutVdw, 13.0);
    EXPECT_EQ(param->pVdw1, 29.0);
    EXPECT_EQ(param->boCut, 0.3);
    EXPECT_EQ(param->pOvun4, 32.0);
    EXPECT_EQ(param->pOvun3, 33.0);
}

TEST_F(ReaxParamTest, AtomParametersComeFromTheirColumns) {
    for (std::size_t line = 0; line < 4; ++line) {
        for (std::size_t column = 0; column < 8; ++column) {
            // The mass comes out above 21, so that the valencies stay as they are.
            sample.atoms[1].lines[line][column] =
                100.0 * static_cast<double>(line + 1) + static_cast<double>(column + 1);
        }
    }

    const auto param = read(sample);

    EXPECT_EQ(param->numElems, 4);
    EXPECT_EQ(param->atomicNumbers, (std::vector<int>{6, 1, 8, 26}));
    EXPECT_EQ(param->rS[1], 101.0);
    EXPECT_EQ(param->valency[1], 102.0);
    EXPECT_EQ(param->mass[1], 103.0);
    EXPECT_EQ(param->rVdw[1], 208.0);
    EXPECT_EQ(param->depth[1], 105.0);
    EXPECT_EQ(param->rPi[1], 107.0);
    EXPECT_EQ(param->valencyE[1], 108.0);
    EXPECT_EQ(param->alpha[1], 201.0);
    EXPECT_EQ(param->gammaW[1], 202.0);
    EXPECT_EQ(param->valencyBoc[1], 203.0);
    EXPECT_EQ(param->pOvun5[1], 204.0);
    EXPECT_EQ(param->rPiPi[1], 301.0);
    EXPECT_EQ(param->pLp2[1], 302.0);
    EXPECT_EQ(param->bo131[1], 304.0);
    EXPECT_EQ(param->bo132[1], 305.0);
    EXPECT_EQ(param->bo133[1], 306.0);
    EXPECT_EQ(param->pOvun2[1], 401.0);
    EXPECT_EQ(param->valencyVal[1], 404.0);
    EXPECT_EQ(param->rcore[1], 406.0);
    EXPECT_EQ(param->ecore[1], 407.0);
    EXPECT_EQ(param->acore[1], 408.0);
    EXPECT_EQ(param->nlpOpt[1], 3.0);
}

TEST_F(ReaxParamTest, BondParametersStandInBothDirections) {
    sample.bonds = {{3, 1, {{{1, 2, 3, 4, 5, 6, 7, 8}, {9, 10, 11, 12, 13, 14, 15, 16}}}}};

    const auto param = read(sample);

    for (const std::size_t pair : {param->pairIndex(0, 2), param->pairIndex(2, 0)}) {
        EXPECT_NE(param->isBonding[pair], 0);
        EXPECT_EQ(param->deSigma[pair], 1.0);
        EXPECT_EQ(param->dePi[pair], 2.0);
        EXPECT_EQ(param->dePiPi[pair], 3.0);
        EXPECT_EQ(param->pBe1[pair], 4.0);
        EXPECT_EQ(param->pBo5[pair], 5.0);
        EXPECT_EQ(param->v13cor[pair], 6.0);
        EXPECT_EQ(param->pBo6[pair], 7.0);
        EXPECT_EQ(param->pOvun1[pair], 8.0);
        EXPECT_EQ(param->pBe2[pair], 9.0);
        EXPECT_EQ(param->pBo3[pair], 10.0);
        EXPECT_EQ(param->pBo4[pair], 11.0);
        EXPECT_EQ(param->pBo1[pair], 13.0);
        EXPECT_EQ(param->pBo2[pair], 14.0);
        EXPECT_EQ(param->ovc[pair], 15.0);
    }
    EXPECT_EQ(param->isBonding[param->pairIndex(0, 0)], 0);
    EXPECT_EQ(param->deSigma[param->pairIndex(0, 0)], 0.0);
}

TEST_F(ReaxParamTest, WithoutBondEntriesAllBondTablesAreZero) {
    sample.bonds.clear();

    const auto param = read(sample);

    EXPECT_EQ(param->pBo1, std::vector<double>(16, 0.0));
    EXPECT_EQ(param->deSigma, std::vector<double>(16, 0.0));
    EXPECT_EQ(param->isBonding, std::vector<char>(16, 0));
}

TEST_F(ReaxParamTest, OffDiagonalEntriesReplaceTheMeansUnlessTheyAreZero) {
    sample.offDiagonals = {{1, 2, {0.7, 1.5, 11.0, 0.0, 1.3, -1.0}}};

    const auto param = read(sample);

    for (const std::size_t pair : {param->pairIndex(0, 1), param->pairIndex(1, 0)}) {
        EXPECT_EQ(param->pairDepth[pair], 0.7);
        EXPECT_EQ(param->pairRVdw[pair], 3.0);
        EXPECT_EQ(param->pairAlpha[pair], 11.0);
        EXPECT_EQ(param->pairRS[pair], 0.5 * (1.38 + 0.79));
        EXPECT_EQ(param->pairRPi[pair], 1.3);
        EXPECT_EQ(param->pairRPiPi[pair], 0.5 * (1.21 - 0.1));
    }
}

TEST_F(ReaxParamTest, MeansOfTheTypesFillTheTables) {
    sample.offDiagonals.clear();

    const auto param = read(sample);

    const std::size_t pair = param->pairIndex(0, 2);
    EXPECT_DOUBLE_EQ(param->pairRS[pair], 0.5 * (1.38 + 1.25));
    EXPECT_DOUBLE_EQ(param->pairRPi[pair], 0.5 * (1.16 + 1.05));
    EXPECT_DOUBLE_EQ(param->pairRPiPi[pair], 0.5 * (1.21 + 0.9));
    EXPECT_DOUBLE_EQ(param->pBoc3[pair], std::sqrt(34.0 * 3.4));
    EXPECT_DOUBLE_EQ(param->pBoc4[pair], std::sqrt(8.7 * 20.4));
    EXPECT_DOUBLE_EQ(param->pBoc5[pair], std::sqrt(13.3 * 0.27));
    EXPECT_DOUBLE_EQ(param->pairDepth[pair], std::sqrt(0.16 * 0.09));
    EXPECT_DOUBLE_EQ(param->pairAlpha[pair], std::sqrt(9.7 * 10.1));
    EXPECT_DOUBLE_EQ(param->pairGammaW[pair], std::sqrt(2.1 * 7.7));
    EXPECT_DOUBLE_EQ(param->pairRVdw[pair], 2.0 * std::sqrt(1.9 * 1.92));
    EXPECT_DOUBLE_EQ(param->pairRcore[pair], std::sqrt(1.4 * 1.3));
    EXPECT_DOUBLE_EQ(param->pairEcore[pair], std::sqrt(0.1 * 0.11));
    EXPECT_DOUBLE_EQ(param->pairAcore[pair], std::sqrt(11.0 * 9.0));
    EXPECT_EQ(param->pairDepth[param->pairIndex(2, 0)], param->pairDepth[pair]);
}

TEST_F(ReaxParamTest, OnlyLightElementsTakeTheValencyOfTheCorrection) {
    sample.atoms[0].lines[0][2] = 20.9;
    sample.atoms[2].lines[0][2] = 21.0;
    sample.atoms[2].lines[3][3] = 4.4; // valency_val

    const auto param = read(sample);

    EXPECT_EQ(param->valencyVal[0], 3.9); // valency_boc
    EXPECT_EQ(param->valencyVal[2], 4.4); // valency_val
    EXPECT_EQ(param->valencyVal[3], 6.0);
}

TEST_F(ReaxParamTest, TaperFallsFromOneToZeroSmoothly) {
    sample.general[11] = 2.0;
    sample.general[12] = 7.0;

    const auto param = read(sample);

    const auto taper = [&](double r) {
        double sum = 0.0;
        for (std::size_t k = 8; k-- > 0;) {
            sum = sum * r + param->taper[k];
        }
        return sum;
    };
    EXPECT_NEAR(taper(2.0), 1.0, 1.0e-11);
    EXPECT_NEAR(taper(7.0), 0.0, 1.0e-11);
    EXPECT_NEAR(taper(4.5), 0.5, 1.0e-11);
    EXPECT_NEAR(taper(6.99), 0.0, 1.0e-8);
    EXPECT_NEAR(taper(2.01), 1.0, 1.0e-8);
}

TEST_F(ReaxParamTest, SwitchesAreDecidedOnTheFirstType) {
    EXPECT_TRUE(read(sample)->withShielding);
    EXPECT_TRUE(read(sample)->withInnerWall);

    sample.atoms[0].lines[1][1] = 0.5; // gamma_w
    EXPECT_FALSE(read(sample)->withShielding);

    sample.atoms[0].lines[3][5] = 0.01; // r_core
    EXPECT_FALSE(read(sample)->withInnerWall);

    sample.atoms[0].lines[3][5] = 1.0;
    sample.atoms[0].lines[3][7] = 0.01; // a_core
    EXPECT_FALSE(read(sample)->withInnerWall);
}

TEST_F(ReaxParamTest, CutoffThatIsNotPositiveBecomesFive) {
    EXPECT_EQ(read(sample, -1.0)->rcut, 5.0);
    EXPECT_EQ(read(sample, 0.0)->rcut, 5.0);
    EXPECT_EQ(read(sample, std::numeric_limits<double>::quiet_NaN())->rcut, 5.0);
    EXPECT_EQ(read(sample, 4.25)->rcut, 4.25);
}

TEST_F(ReaxParamTest, TypesAreFoundByTheirAtomicNumber) {
    const auto param = read(sample);

    EXPECT_EQ(param->typeOf(6), 0);
    EXPECT_EQ(param->typeOf(1), 1);
    EXPECT_EQ(param->typeOf(26), 3);
    EXPECT_EQ(param->typeOf(7), -1);
    EXPECT_EQ(param->typeOf(0), -1);
    EXPECT_EQ(param->typeOf(-6), -1);
    EXPECT_EQ(param->typeOf(256), -1);
    EXPECT_EQ(param->typeOf(257), -1);
}

TEST_F(ReaxParamTest, RestOfTheFileIsNotRead) {
    test::writeTextFile(fileName, sample.makeText() + "nan ! angles\ngarbage");

    const ReaxParam param(5.0, fileName);

    EXPECT_EQ(param.numElems, 4);
}

TEST_F(ReaxParamTest, GeneralLinesBehindTheLastThatMattersNeedOnlyExist) {
    EXPECT_EQ(stopWith(test::generalLine + 33, "no number"), "(no stop)");
    EXPECT_EQ(stopWith(test::generalLine + 32, "no number"), "cannot read a general parameter.");
    EXPECT_EQ(stopCutAt(test::generalLine + 38), "cannot read a general parameter.");
}

TEST_F(ReaxParamTest, FileThatIsMissingStops) {
    const std::string missing = directory.file("nothing");

    EXPECT_EQ(test::stopMessageOf([&] { const ReaxParam param(5.0, missing); }),
              "cannot open file: " + missing);
}

TEST_F(ReaxParamTest, BadGeneralSectionStops) {
    EXPECT_EQ(stopOf(""), "cannot read the first comment line.");
    expectStop(1, "many", "cannot read #general parameters.");
    EXPECT_EQ(stopWith(1, "0"), "#general parameters is not positive.");
    EXPECT_EQ(stopWith(1, "-3"), "#general parameters is not positive.");
    expectStop(test::generalLine + 4, "x", "cannot read a general parameter.");
    EXPECT_EQ(stopWith(test::generalLine + 12, "0.0"), "rcut_vdw is not positive.");
}

TEST_F(ReaxParamTest, BadAtomSectionStops) {
    expectStop(test::atomCountLine, "few", "cannot read #atomic parameters.");
    EXPECT_EQ(stopWith(test::atomCountLine, "0"), "#atomic parameters is not positive.");
    EXPECT_EQ(stopCutAt(test::atomCountLine + 1), "cannot read the header(2nd-line) of atomic parameters.");
    EXPECT_EQ(stopCutAt(test::atomCountLine + 2), "cannot read the header(3rd-line) of atomic parameters.");
    EXPECT_EQ(stopCutAt(test::atomCountLine + 3), "cannot read the header(4th-line) of atomic parameters.");
    expectStop(test::atomLine, "C 1.0 2.0", "cannot read a atomic parameter @1st-line : iatom=1");
    expectStop(test::atomLine + 4, "", "cannot read a atomic parameter @1st-line : iatom=2");
    expectStop(test::atomLine + 5, "1 2 3 4 5 6 7", "cannot read a atomic parameter @2nd-line : iatom=2");
    expectStop(test::atomLine + 6, "1 2 3 4 5 6 7 x", "cannot read a atomic parameter @3rd-line : iatom=2");
    expectStop(test::atomLine + 15, "1", "cannot read a atomic parameter @4th-line : iatom=4");
}

TEST_F(ReaxParamTest, UnknownAndRepeatedElementsStop) {
    sample.atoms[2].name = "X";
    EXPECT_EQ(stopOf(sample.makeText()), "incorrect atomic number: iatom=3");

    sample.atoms[2].name = "H";
    EXPECT_EQ(stopOf(sample.makeText()), "duplex atomic number: iatom=3");

    sample.atoms[2].name = "O_2";
    EXPECT_EQ(stopOf(sample.makeText()), "(no stop)");
}

TEST_F(ReaxParamTest, BadBondSectionStops) {
    expectStop(test::bondCountLine, "x", "cannot read #bond's parameters.");
    EXPECT_EQ(stopWith(test::bondCountLine, "-1"), "#bond's parameters is negative.");
    EXPECT_EQ(stopCutAt(test::bondCountLine + 1), "cannot read the header(2nd-line) of bond's parameters.");
    expectStop(test::bondLine, "1 1 2.0", "cannot read a bond's parameter @1st-line : ibond=1");
    expectStop(test::bondLine + 3, "1.0", "cannot read a bond's parameter @2nd-line : ibond=2");
    for (const char* const types : {"0 1", "1 5", "5 1", "1 -1"}) {
        EXPECT_EQ(stopWith(test::bondLine + 2, std::string(types) + " 1 2 3 4 5 6 7 8"),
                  "index of atom is out of range: ibond=2");
    }
}

TEST_F(ReaxParamTest, BadOffDiagonalSectionStops) {
    expectStop(test::offDiagonalCountLine, "x", "cannot read #off-diagonal parameters.");
    EXPECT_EQ(stopWith(test::offDiagonalCountLine, "-1"), "#off-diagonal parameters is negative.");
    expectStop(test::offDiagonalLine + 1, "1 2 3 4 5 6 7",
               "cannot read a off-diagonal parameter: ioffDiag=2");
    EXPECT_EQ(stopWith(test::offDiagonalLine + 2, "1 5 1 2 3 4 5 6"),
              "index of atom is out of range: ioffDiag=3");
    EXPECT_EQ(stopWith(test::offDiagonalLine, "0 1 1 2 3 4 5 6"),
              "index of atom is out of range: ioffDiag=1");
}

TEST_F(ReaxParamTest, NumbersThatAreNoneCountAsUnreadable) {
    EXPECT_EQ(stopWith(test::generalLine, "nan"), "cannot read a general parameter.");
    EXPECT_EQ(stopWith(test::atomLine, "C 1 2 3 4 inf 6 7 8"),
              "cannot read a atomic parameter @1st-line : iatom=1");
    EXPECT_EQ(stopWith(test::bondLine + 1, "1 2 3 4 5 6 7 1e999"),
              "cannot read a bond's parameter @2nd-line : ibond=1");
    EXPECT_EQ(stopWith(test::offDiagonalLine, "1 2 1 2 -nan 4 5 6"),
              "cannot read a off-diagonal parameter: ioffDiag=1");
}

TEST_F(ReaxParamTest, HugeCountsStopAtTheEndOfTheFile) {
    EXPECT_EQ(stopWith(1, "2147483647"), "cannot read a general parameter.");
    EXPECT_EQ(stopWith(test::atomCountLine, "2147483647"),
              "cannot read a atomic parameter @1st-line : iatom=5");
    EXPECT_EQ(stopWith(test::bondCountLine, "2147483647"),
              "cannot read a bond's parameter @1st-line : ibond=9");
    EXPECT_EQ(stopWith(test::offDiagonalCountLine, "2147483647"),
              "cannot read a off-diagonal parameter: ioffDiag=4");
    EXPECT_EQ(stopWith(1, "99999999999"), "cannot read #general parameters.");
}

} // namespace
} // namespace melta
