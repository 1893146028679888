#include "base/ReplacementJournal.hpp"
#include "config/PropertyFiles.hpp"
#include "symmfunc/chebyshev/ChebyshevKind.hpp"
#include "symmfunc/manybody/ManyBodyKind.hpp"

namespace melta::test {
namespace {

class HeadReaderTest : public PropertyFiles {
protected:
    std::string peekText(const std::string& text, bool tolerant = false) {
        writeTextFile(headName, text);
        return outputWithoutStop([&] { property.peekData(headName, tolerant); });
    }

    std::string stopOfHead(const std::string& text) {
        writeTextFile(headName, text);
        Property fresh;
        return stopMessageOf([&] { fresh.peekData(headName, false); });
    }

    [[nodiscard]] std::string refusal() const { return "cannot peek file: " + headName; }
};

const std::string chebyshevHead = "3 0 0 1\n"
                                  "12 7 5.50000000e+00 4.50000000e+00\n"
                                  "1\n"
                                  "3 20 2 4\n"
                                  "5 30 3 6\n"
                                  "1\n"
                                  "Si 1.0 2.0 14\n";

const std::string reaxManyBodyHead = "1 0 1 2\n"
                                     "7.50000000e+00 2.50000000e-01\n"
                                     "30 5 5.00000000e-01 7.00000000e+00\n"
                                     "0\n"
                                     "3 20 2 4\n";

const std::string behlerHead = "2 1 0 0\n"
                               "2 1 5.50000000e+00 4.50000000e+00 0\n"
                               "1.0 2.0\n"
                               "3.0 4.0\n"
                               "5.0 6.0 7.0\n"
                               "0\n"
                               "3 20 2 4\n";

// The first `numLines` lines of a text.
std::string firstLines(const std::string& text, int numLines) {
    std::size_t end = 0;
    for (int i = 0; i < numLines; ++i) {
        end = text.find('\n', end) + 1;
    }
    return text.substr(0, end);
}

TEST_F(HeadReaderTest, ChebyshevWithCharge) {
    peekText(chebyshevHead);

    EXPECT_EQ(property.symmFuncKind, ChebyshevKind::code);
    EXPECT_EQ(property.elemWeight, 0);
    EXPECT_EQ(property.tanhCutoff, 0);
    EXPECT_EQ(property.withClassical, 1);
    EXPECT_EQ(property.withReaxFF, 0);
    EXPECT_EQ(property.numRadius, 12);
    EXPECT_EQ(property.numAngle, 7);
    EXPECT_EQ(property.rcutRadius, 5.5f);
    EXPECT_EQ(property.rcutAngle, 4.5f);
    EXPECT_EQ(property.withCharge, 1);
    EXPECT_EQ(property.layersEnergy, 3);
    EXPECT_EQ(property.nodesEnergy, 20);
    EXPECT_EQ(property.activEnergy, 2);
    EXPECT_EQ(property.modelsEnergy, 4);
    EXPECT_EQ(property.layersCharge, 5);
    EXPECT_EQ(property.nodesCharge, 30);
    EXPECT_EQ(property.activCharge, 3);
    EXPECT_EQ(property.modelsCharge, 6);
}

TEST_F(HeadReaderTest, ManyBodyWithReaxFF) {
    property.withClassical = 1;

    peekText(reaxManyBodyHead);

    EXPECT_EQ(property.symmFuncKind, ManyBodyKind::code);
    EXPECT_EQ(property.withClassical, 0);
    EXPECT_EQ(property.withReaxFF, 1);
    EXPECT_EQ(property.rcutReaxFF, 7.5f);
    EXPECT_EQ(property.rateReaxFF, 0.25f);
    EXPECT_EQ(property.m2, 30);
    EXPECT_EQ(property.m3, 5);
    EXPECT_EQ(property.rinner, 0.5f);
    EXPECT_EQ(property.router, 7.0f);
    EXPECT_EQ(property.withCharge, 0);
}

TEST_F(HeadReaderTest, BehlerReplacesItsArrays) {
    property.radiusEta = {9.0f};
    property.radiusShift = {9.0f, 9.0f, 9.0f};
    property.angleShift = {9.0f, 9.0f};

    peekText(behlerHead);

    EXPECT_EQ(property.numRadius, 2);
    EXPECT_EQ(property.numAngle, 1);
    EXPECT_EQ(property.rcutRadius, 5.5f);
    EXPECT_EQ(property.rcutAngle, 4.5f);
    EXPECT_EQ(property.behlerG4, 0);
    EXPECT_EQ(property.radiusEta, (std::vector<float>{1.0f, 3.0f}));
    EXPECT_EQ(property.radiusShift, (std::vector<float>{2.0f, 4.0f}));
    EXPECT_EQ(property.angleEta, (std::vector<float>{5.0f}));
    EXPECT_EQ(property.angleZeta, (std::vector<float>{6.0f}));
    EXPECT_EQ(property.angleShift, (std::vector<float>{7.0f}));
}

TEST_F(HeadReaderTest, BehlerG4IsOneForAnyOtherNumber) {
    peekText("2 1 0 0\n0 0 5 4 3\n0\n3 20 2 4\n");

    EXPECT_EQ(property.behlerG4, 1);
}

TEST_F(HeadReaderTest, OldBehlerHeadHasOneCutoffAndG4WithoutShift) {
    peekText("2 1 0\n1 1 5.5\n1 2\n3 4\n0\n3 20 2\n");

    EXPECT_EQ(property.rcutRadius, 5.5f);
    EXPECT_EQ(property.rcutAngle, 5.5f);
    EXPECT_EQ(property.behlerG4, 1);
    EXPECT_EQ(property.angleEta, (std::vector<float>{3.0f}));
    EXPECT_EQ(property.angleZeta, (std::vector<float>{4.0f}));
    EXPECT_EQ(property.angleShift, (std::vector<float>{0.0f}));
    EXPECT_EQ(property.modelsEnergy, 1);
}

TEST_F(HeadReaderTest, FirstLineWithThreeFieldsHasNoBaseline) {
    property.withClassical = 1;
    property.withReaxFF = 1;

    peekText("3 0 0\n12 7 5 4\n0\n3 20 2 4\n");

    EXPECT_EQ(property.elemWeight, 0);
    EXPECT_EQ(property.tanhCutoff, 0);
    EXPECT_EQ(property.withClassical, 0);
    EXPECT_EQ(property.withReaxFF, 0);
}

TEST_F(HeadReaderTest, FirstLineWithOneFieldHasTanhCutoffWithoutWeight) {
    property.withClassical = 1;
    property.withReaxFF = 1;
    property.tanhCutoff = 0;

    peekText("3\n12 7 5 4\n1\n3 20 2\n4 30 3\n");

    EXPECT_EQ(property.elemWeight, 0);
    EXPECT_EQ(property.tanhCutoff, 1);
    EXPECT_EQ(property.withClassical, 0);
    EXPECT_EQ(property.withReaxFF, 0);
    EXPECT_EQ(property.modelsEnergy, 1);
    EXPECT_EQ(property.layersCharge, 4);
    EXPECT_EQ(property.modelsCharge, 1);
}

TEST_F(HeadReaderTest, BaselineCodesAboveTwoMeanReaxFF) {
    peekText("3 0 0 5\n4 0.5\n12 7 5 4\n0\n3 20 2 4\n");

    EXPECT_EQ(property.withReaxFF, 1);
    EXPECT_EQ(property.rcutReaxFF, 4.0f);
}

TEST_F(HeadReaderTest, NoAngularFunctionsHaveNoCutoff) {
    peekText("3 0 0 0\n12 0 5 4\n0\n3 20 2 4\n");

    EXPECT_EQ(property.rcutAngle, 0.0f);
}

TEST_F(HeadReaderTest, ChargeNetworkIsReadOnlyWithCharge) {
    peekText("3 0 0 0\n12 7 5 4\n0\n3 20 2 4\n5 30 3 6\n");

    EXPECT_EQ(property.layersCharge, 2);
    EXPECT_EQ(property.nodesCharge, 40);
}

TEST_F(HeadReaderTest, ValuesAreNotChecked) {
    peekText("3 -1 9 -4\n-12 -7 -5 -4\n0\n-3 0 99 -1\n");

    EXPECT_EQ(property.elemWeight, -1);
    EXPECT_EQ(property.numRadius, -12);
    EXPECT_EQ(property.rcutRadius, -5.0f);
    EXPECT_EQ(property.activEnergy, 99);
    EXPECT_EQ(property.rcutAngle, 0.0f);
    EXPECT_EQ(property.withReaxFF, 0);
}

TEST_F(HeadReaderTest, BannerOfATestingRunIsPrintedUnlessTolerant) {
    const std::string banner = peekText(chebyshevHead);

    EXPECT_EQ(banner, outputOf([&] { property.printBanner(true, false); }));
    EXPECT_NE(banner.find("This is Testing Mode."), std::string::npos);
    EXPECT_EQ(peekText(chebyshevHead, true), "");
}

TEST_F(HeadReaderTest, MissingFileIsRefusedUnlessTolerant) {
    EXPECT_EQ(stopMessageOf([&] { property.peekData(headName, false); }), refusal());

    EXPECT_EQ(outputWithoutStop([&] { property.peekData(headName, true); }), "");
    EXPECT_EQ(property.numRadius, 50);
}

TEST_F(HeadReaderTest, HeadsCutAtAnyLineAreRefused) {
    const std::pair<std::string, int> heads[] = {{chebyshevHead, 5}, {reaxManyBodyHead, 5}, {behlerHead, 7}};
    for (const auto& [head, numNeeded] : heads) {
        for (int numLines = 0; numLines < numNeeded; ++numLines) {
            EXPECT_EQ(stopOfHead(firstLines(head, numLines)), refusal()) << numLines << " of\n" << head;
        }
        peekText(firstLines(head, numNeeded));
    }
}

TEST_F(HeadReaderTest, HeadsWithAnUnreadableLineAreRefused) {
    const std::pair<std::string, int> heads[] = {{chebyshevHead, 5}, {reaxManyBodyHead, 5}, {behlerHead, 7}};
    for (const auto& [head, numNeeded] : heads) {
        for (int numLines = 0; numLines < numNeeded; ++numLines) {
            const std::string start = firstLines(head, numLines);
            const std::string rest = head.substr(firstLines(head, numLines + 1).size());
            for (const char* const bad : {"\n", "x\n", "? 1 2 3 4\n"}) {
                EXPECT_EQ(stopOfHead(start + bad + rest), refusal()) << start << bad;
            }
        }
    }
}

TEST_F(HeadReaderTest, LinesWithTooFewFieldsAreRefused) {
    EXPECT_EQ(stopOfHead("3 0 0 2\n7.5\n12 7 5 4\n0\n3 20 2 4\n"), refusal());
    EXPECT_EQ(stopOfHead("3 0 0 0\n12 7 5\n0\n3 20 2 4\n"), refusal());
    EXPECT_EQ(stopOfHead("1 0 0 0\n12 7 5\n0\n3 20 2 4\n"), refusal());
    EXPECT_EQ(stopOfHead("2 0 0 0\n1 1\n1 1\n1 1 1\n0\n3 20 2 4\n"), refusal());
    EXPECT_EQ(stopOfHead("2 0 0 0\n1 1 5 5 0\n1\n1 1 1\n0\n3 20 2 4\n"), refusal());
    EXPECT_EQ(stopOfHead("2 0 0 0\n1 1 5 5 0\n1 1\n1\n0\n3 20 2 4\n"), refusal());
    EXPECT_EQ(stopOfHead("3 0 0 0\n12 7 5 4\n0\n3 20\n"), refusal());
    EXPECT_EQ(stopOfHead("3 0 0 0\n12 7 5 4\n1\n3 20 2 4\n3 20\n"), refusal());
}

TEST_F(HeadReaderTest, NotFiniteNumbersAreRefused) {
    EXPECT_EQ(stopOfHead("3 0 0 2\nnan 0.5\n12 7 5 4\n0\n3 20 2 4\n"), refusal());
    EXPECT_EQ(stopOfHead("3 0 0 0\n12 7 nan 4\n0\n3 20 2 4\n"), refusal());
    EXPECT_EQ(stopOfHead("3 0 0 0\n12 7 5 inf\n0\n3 20 2 4\n"), refusal());
    EXPECT_EQ(stopOfHead("1 0 0 0\n12 7 nan 4\n0\n3 20 2 4\n"), refusal());
    EXPECT_EQ(stopOfHead("2 0 0 0\n1 1 nan 5 0\n1 1\n1 1 1\n0\n3 20 2 4\n"), refusal());
    EXPECT_EQ(stopOfHead("2 0 0 0\n1 1 5 5 0\nnan 1\n1 1 1\n0\n3 20 2 4\n"), refusal());
    EXPECT_EQ(stopOfHead("2 0 0 0\n1 1 5 5 0\n1 1\n1 nan 1\n0\n3 20 2 4\n"), refusal());
}

TEST_F(HeadReaderTest, UnknownSymmetryKindIsAFailedReading) {
    for (const char* const kind : {"0", "5", "-1", "2147483648"}) {
        EXPECT_EQ(stopOfHead(std::string(kind) + " 0 0 0\n12 7 5 4\n0\n3 20 2 4\n"), refusal());
    }

    EXPECT_EQ(peekText("9 0 0 0\n12 7 5 4\n0\n3 20 2 4\n", true), "");
    EXPECT_EQ(property.symmFuncKind, ChebyshevKind::code);
    EXPECT_EQ(property.numRadius, 50);
}

TEST_F(HeadReaderTest, TolerantPeekKeepsTheLinesBeforeTheFailure) {
    EXPECT_EQ(peekText("3 0 0 1\n12 7 5.5 4.5\n1\n3 20 2 4\n", true), "");

    EXPECT_EQ(property.elemWeight, 0);
    EXPECT_EQ(property.withClassical, 1);
    EXPECT_EQ(property.numRadius, 12);
    EXPECT_EQ(property.withCharge, 1);
    EXPECT_EQ(property.nodesEnergy, 20);
    EXPECT_EQ(property.nodesCharge, 40);
}

TEST_F(HeadReaderTest, TolerantPeekTakesNothingFromAFailedLine) {
    peekText("3 0 0 1\n12 7 5.5\n1\n3 20 2 4\n", true);

    EXPECT_EQ(property.elemWeight, 0);
    EXPECT_EQ(property.numRadius, 50);
    EXPECT_EQ(property.numAngle, 30);
    EXPECT_EQ(property.rcutRadius, 6.0f);
    EXPECT_EQ(property.withCharge, 0);
}

TEST_F(HeadReaderTest, TolerantPeekOfEveryCutHeadIsSilent) {
    for (const std::string& head : {chebyshevHead, reaxManyBodyHead, behlerHead}) {
        for (std::size_t length = 0; length < head.size(); ++length) {
            property = Property();
            EXPECT_EQ(peekText(head.substr(0, length), true), "");
        }
    }
}

TEST_F(HeadReaderTest, AbsurdArraySizesCostNothing) {
    EXPECT_EQ(stopOfHead("2 0 0 0\n2000000000 2000000000 5 5 0\n1 1\n"), refusal());

    peekText("2 0 0 0\n-2000000000 -2000000000 5 5 0\n0\n3 20 2 4\n");
    EXPECT_TRUE(property.radiusEta.empty());
}

TEST_F(HeadReaderTest, LongLinesAreSafe) {
    const std::string many(100000, '7');

    EXPECT_EQ(stopOfHead(many + "\n"), refusal());
    EXPECT_EQ(stopOfHead("3 0 0 0\n12 7 " + many + " 4\n0\n3 20 2 4\n"), refusal());
    peekText("3 0 0 0 " + many + "\n12 7 5 4 " + many + "\n0\n3 20 2 4\n");
    EXPECT_EQ(property.numRadius, 12);
}

TEST_F(HeadReaderTest, BinaryJunkIsRefused) {
    std::string junk;
    for (int i = 0; i < 4096; ++i) {
        junk.push_back(static_cast<char>((i * 197 + 131) % 256));
    }

    EXPECT_EQ(stopOfHead(junk), refusal());
}

TEST_F(HeadReaderTest, PropertiesFileIsAppliedOnTop) {
    peekText(chebyshevHead, true);

    const std::string banner = readText("withClassical 0\nnumAngle 3\n");

    EXPECT_EQ(property.numRadius, 12);
    EXPECT_EQ(property.numAngle, 3);
    EXPECT_EQ(property.withClassical, 0);
    EXPECT_NE(banner.find("    Number of C2s  = 12\n    Number of C3s  = 3\n"), std::string::npos);
}

TEST_F(HeadReaderTest, ToleratesALineThatIsTooLong) {
    const std::string overlong(2U << 20U, '1');

    EXPECT_EQ(peekText("3 1 1 0\n12 7 5.5 4.5\n" + overlong + "\n3 20 2 4\n", true), "");
    EXPECT_EQ(property.numRadius, 12);
    EXPECT_EQ(property.layersEnergy, Property().layersEnergy);
}

TEST_F(HeadReaderTest, FinishesAReplacementFirst) {
    writeTextFile(headName, "3 1 1 0\n10 7 5.5 4.5\n0\n3 20 2 4\n");
    {
        ReplacementJournal journal;
        constexpr auto step = ReplacementJournal::Step::replace;
        ASSERT_TRUE(journal.write(std::array{ReplacementJournal::describe(headName, step),
                                             ReplacementJournal::describe(headName + "_e", step)}));
    }
    writeTextFile(headName + ".new", "3 1 1 0\n12 7 5.5 4.5\n0\n3 20 2 4\n");

    outputWithoutStop([&] { property.peekData(headName, false); });

    EXPECT_EQ(property.numRadius, 12);
}

} // namespace
} // namespace melta::test
