#include "modelio/NetworkHead.hpp"

#include "modelio/ModelFiles.hpp"
#include "symmfunc/behler/BehlerKind.hpp"
#include "symmfunc/cluster/ClusterKind.hpp"
#include "symmfunc/manybody/ManyBodyKind.hpp"

#include <array>
#include <functional>

namespace melta {
namespace {

using test::readTextFile;
using test::stopMessageOf;
using test::writeTextFile;

using Fields = std::vector<std::string>;

// The head of a model with charges for two elements, with settings that all differ from each other.
class Head : public test::ModelFiles {
protected:
    Head() {
        property.elemWeight = 1;
        property.tanhCutoff = 0;
        property.numRadius = 7;
        property.numAngle = 5;
        property.rcutRadius = 6.5f;
        property.rcutAngle = 4.25f;
        property.withCharge = 1;
        property.layersEnergy = 2;
        property.nodesEnergy = 40;
        property.activEnergy = 5;
        property.modelsEnergy = 16;
        property.layersCharge = 3;
        property.nodesCharge = 30;
        property.activCharge = 6;
        property.modelsCharge = 8;
        setElements(set, {"Si", "O"});
        set.elemAtomNumbers = {14, 8};
    }

    std::string writtenHead() {
        NNIO(&property, &set).writeNetworkFile(headName, statistics, {}, {});
        return readTextFile(headName);
    }

    // Reads a head made of these lines.
    std::string stopOfLines(const std::vector<Fields>& lines, bool withNetworks = true) {
        std::string text;
        for (const Fields& fields : lines) {
            for (const std::string& field : fields) {
                text += field + " ";
            }
            text += "\n";
        }
        writeTextFile(headName, text);
        return stopMessageOf([&] {
            elements = readNetworkHead(openForReading(headName), headName, property, set, withNetworks,
                                       withNetworks);
        });
    }

    [[nodiscard]] std::string about(const std::string& complaint) const {
        return complaint + ": " + headName;
    }

    // The lines of a sound head with ReaxFF.
    std::vector<Fields> soundLines() {
        property.withReaxFF = 1;
        return {{"3", "1", "0", "2"},
                {"5.0", "0.5"},
                {"7", "5", "6.5", "4.25"},
                {"1"},
                {"2", "40", "5", "16"},
                {"3", "30", "6", "8"},
                {"2"},
                {"Si", "0.5", "2", "14"},
                {"O", "0.25", "1", "8"}};
    }

    void setBehler() {
        property.symmFuncKind = BehlerKind::code;
        property.numRadius = 2;
        property.numAngle = 1;
        property.behlerG4 = 1;
        property.radiusEta = {0.5f, 1.5f};
        property.radiusShift = {0.0f, 2.0f};
        property.angleEta = {0.25f};
        property.angleZeta = {4.0f};
        property.angleShift = {0.75f};
    }

    GeometrySet set;
    SymmStatistics statistics{{0.1f, -0.25f}, {2.5f, 1.0f / 3.0f}};
    std::vector<HeadElement> elements;
};

const char* const shapesAndElements = "1\n"
                                      "2 40 5 16\n"
                                      "3 30 6 8\n"
                                      "2\n"
                                      "Si 1.00000001e-01 2.50000000e+00 14\n"
                                      "O -2.50000000e-01 3.33333343e-01 8\n";

TEST_F(Head, WritesChebyshev) {
    EXPECT_EQ(writtenHead(), "3 1 0 0\n"
                             "7 5 6.50000000e+00 4.25000000e+00\n" +
                                 std::string(shapesAndElements));
}

TEST_F(Head, WritesSwitchesAsZeroOrOne) {
    const std::string expected = writtenHead();
    property.elemWeight = -1;
    property.withCharge = 7;

    EXPECT_EQ(writtenHead(), expected);

    property.tanhCutoff = -2;
    EXPECT_EQ(writtenHead().substr(0, 8), "3 1 1 0\n");
}

TEST_F(Head, WritesNoShapeOfChargesWithoutCharges) {
    property.withCharge = 0;

    EXPECT_EQ(writtenHead(), "3 1 0 0\n"
                             "7 5 6.50000000e+00 4.25000000e+00\n"
                             "0\n"
                             "2 40 5 16\n"
                             "2\n"
                             "Si 1.00000001e-01 2.50000000e+00 14\n"
                             "O -2.50000000e-01 3.33333343e-01 8\n");
}

TEST_F(Head, WritesLennardJonesLikeBaseline) {
    property.withClassical = 7;

    EXPECT_EQ(writtenHead(), "3 1 0 1\n"
                             "7 5 6.50000000e+00 4.25000000e+00\n" +
                                 std::string(shapesAndElements));
}

TEST_F(Head, WritesReaxFFBaselineWithItsNumbers) {
    property.withClassical = 1;
    property.withReaxFF = 1;
    property.rcutReaxFF = 5.0f;
    property.rateReaxFF = 0.1f;

    EXPECT_EQ(writtenHead(), "3 1 0 2\n"
                             "5.00000000e+00 1.00000001e-01\n"
                             "7 5 6.50000000e+00 4.25000000e+00\n" +
                                 std::string(shapesAndElements));
}

TEST_F(Head, WritesManyBody) {
    property.symmFuncKind = ManyBodyKind::code;
    property.elemWeight = 0;
    property.m2 = 100;
    property.m3 = 10;
    property.rinner = 0.5f;
    property.router = 6.0f;

    EXPECT_EQ(writtenHead(), "1 0 0 0\n"
                             "100 10 5.00000000e-01 6.00000000e+00\n" +
                                 std::string(shapesAndElements));
}

void setCluster(Property& property) {
    property.symmFuncKind = ClusterKind::code;
    property.withCharge = 0;
    property.kindSettings = {{"maxAngular", 3}, {"bodyOrder", 4}, {"numRadius4", 2}, {"channels", 2}};
}

TEST_F(Head, WritesClusterFunctionsWithTheWeightsOfTheirChannels) {
    setCluster(property);
    statistics.elementWeights = {1.0f, 0.5f, 1.0f, -0.5f, 0.25f, 2.0f, 4.0f, -8.0f};

    EXPECT_EQ(writtenHead(),
              "4 1 0 0\n"
              "7 3 4 2 2 6.50000000e+00\n"
              "0\n"
              "2 40 5 16\n"
              "2\n"
              "Si 1.00000001e-01 2.50000000e+00 14 1.00000000e+00 5.00000000e-01 1.00000000e+00 "
              "-5.00000000e-01\n"
              "O -2.50000000e-01 3.33333343e-01 8 2.50000000e-01 2.00000000e+00 4.00000000e+00 "
              "-8.00000000e+00\n");
}

// The set of the run knows the elements in another order, lacks one and has a further one.
TEST_F(Head, WeightsOfChannelsFollowTheirElements) {
    setCluster(property);
    const std::vector<HeadElement> stored{
        {"A", 0.0f, 1.0f, {11, 12, 13}}, {"B", 0.0f, 1.0f, {21, 22, 23}}, {"C", 0.0f, 1.0f, {31, 32, 33}}};
    std::vector<float> weights(9, -1.0f);

    // C, D, A.
    takeElementWeights(stored, std::array{2, -1, 0}, 3, "FILE", weights);

    EXPECT_EQ(weights, (std::vector<float>{33, -1, 31, -1, -1, -1, 13, -1, 11}));
    weights.resize(18);
    EXPECT_EQ(stopMessageOf([&] {
                  takeElementWeights(stored, std::array{2, -1, 0}, 3, "FILE", weights);
              }),
              "incorrect weights of channels: FILE");
}

TEST_F(Head, WritesBehlerWithItsFunctions) {
    setBehler();

    EXPECT_EQ(writtenHead(), "2 1 0 0\n"
                             "2 1 6.50000000e+00 4.25000000e+00 1\n"
                             "5.00000000e-01 0.00000000e+00\n"
                             "1.50000000e+00 2.00000000e+00\n"
                             "2.50000000e-01 4.00000000e+00 7.50000000e-01\n" +
                                 std::string(shapesAndElements));
}

TEST_F(Head, GivesElementsInTheOrderOfTheFile) {
    ASSERT_EQ(stopOfLines(soundLines()), "(no stop)");

    ASSERT_EQ(elements.size(), 2U);
    EXPECT_EQ(elements[0].name, "Si");
    EXPECT_EQ(elements[0].symmAve, 0.5f);
    EXPECT_EQ(elements[0].symmDev, 2.0f);
    EXPECT_EQ(elements[1].name, "O");
    EXPECT_EQ(elements[1].symmAve, 0.25f);
    EXPECT_EQ(elements[1].symmDev, 1.0f);
}

TEST_F(Head, StopsWithoutFile) {
    EXPECT_EQ(stopMessageOf(
                  [&] { readNetworkHead(openForReading(headName), headName, property, set, true, true); }),
              about("cannot open file"));
}

TEST_F(Head, StopsAtEachMissingLine) {
    const std::vector<std::string> messages = {"cannot read symmetry function.",
                                               "cannot read rcut of ReaxFF.",
                                               "cannot read Chebyshev-type symmetry function.",
                                               "cannot read type of neural network.",
                                               "cannot read properties of energy's neural network.",
                                               "cannot read properties of charge's neural network.",
                                               "cannot read #elements.",
                                               "cannot read element's data.",
                                               "cannot read element's data."};
    const std::vector<Fields> lines = soundLines();
    for (std::size_t count = 0; count < lines.size(); ++count) {
        const std::vector<Fields> present(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(count));

        EXPECT_EQ(stopOfLines(present), messages[count]) << count;
    }
}

// Something wrong in one field of the sound head.
struct Fault {
    std::size_t line;
    std::size_t field;
    const char* value;
    const char* complaint;
};

const std::vector<Fault> faults = {
    {0, 0, "0", "incorrect symmFunc"},
    {0, 0, "2", "incorrect symmFunc"},
    {0, 0, "x", "incorrect symmFunc"},
    {0, 1, "-1", "incorrect elemWeight"},
    {0, 1, "0", "incorrect elemWeight"},
    {0, 3, "-1", "incorrect withClassical"},
    {0, 3, "1", "incorrect withClassical"},
    {0, 3, "0", "incorrect withReaxFF"},
    {2, 0, "x", "incorrect #C2-functions of Chebyshev"},
    {2, 0, "0", "incorrect #C2-functions of Chebyshev"},
    {2, 0, "8", "incorrect #C2-functions of Chebyshev"},
    {2, 0, "4000000000", "incorrect #C2-functions of Chebyshev"},
    {2, 1, "-1", "incorrect #C3-functions of Chebyshev"},
    {2, 1, "6", "incorrect #C3-functions of Chebyshev"},
    {3, 0, "x", "error in reading type of neural network"},
    {3, 0, "0", "incorrect type of neural network"},
    {4, 0, "x", "incorrect #models of energy's neural network"},
    {4, 3, "0", "incorrect #models of energy's neural network"},
    {4, 3, "15", "incorrect #models of energy's neural network"},
    {4, 0, "0", "incorrect #layers of energy's neural network"},
    {4, 0, "3", "incorrect #layers of energy's neural network"},
    {4, 1, "-40", "incorrect #nodes of energy's neural network"},
    {4, 1, "41", "incorrect #nodes of energy's neural network"},
    {4, 2, "0", "incorrect activation of energy's neural network"},
    {4, 2, "6", "incorrect activation of energy's neural network"},
    {5, 0, "x", "incorrect #models of charge's neural network"},
    {5, 3, "7", "incorrect #models of charge's neural network"},
    {5, 0, "2", "incorrect #layers of charge's neural network"},
    {5, 1, "0", "incorrect #nodes of charge's neural network"},
    {5, 1, "31", "incorrect #nodes of charge's neural network"},
    {5, 2, "0", "incorrect activation of charge's neural network"},
    {5, 2, "5", "incorrect activation of charge's neural network"},
    {6, 0, "x", "incorrect #elements"},
    {6, 0, "0", "incorrect #elements"},
    {6, 0, "-2", "incorrect #elements"},
    {6, 0, "128", "incorrect #elements"},
    {6, 0, "2000000000", "incorrect #elements"},
    {7, 1, "x", "cannot read an element"},
    {7, 1, "nan", "cannot read an element"},
    {7, 2, "inf", "cannot read an element"},
    {7, 2, "0", "deviation of symmetry functions is not positive"},
    {7, 2, "-1", "deviation of symmetry functions is not positive"},
    {8, 0, "Si", "duplicate element (Si)"},
};

TEST_F(Head, StopsAtEachFault) {
    for (const Fault& fault : faults) {
        std::vector<Fields> lines = soundLines();
        lines[fault.line][fault.field] = fault.value;

        EXPECT_EQ(stopOfLines(lines), about(fault.complaint)) << fault.complaint << " by " << fault.value;
    }
}

TEST_F(Head, RefusesAnUnknownActivationThatAgreesWithTheSettings) {
    property.activEnergy = 9;
    std::vector<Fields> lines = soundLines();
    lines[4][2] = "9";

    EXPECT_EQ(stopOfLines(lines), about("incorrect activation of energy's neural network"));
}

TEST_F(Head, ReportsTheFirstOfManyFaults) {
    std::vector<Fields> lines = soundLines();
    for (auto fault = faults.rbegin(); fault != faults.rend(); ++fault) {
        lines[fault->line][fault->field] = fault->value;

        EXPECT_EQ(stopOfLines(lines), about(fault->complaint)) << fault->complaint << " by " << fault->value;
        // The next fault of the same line has to be the first again.
        if (fault + 1 != faults.rend() && (fault + 1)->line == fault->line) {
            lines[fault->line] = soundLines()[fault->line];
        }
    }
}

TEST_F(Head, StopsForASetWithoutElements) {
    set.numElems = 0;
    std::vector<Fields> lines = soundLines();
    lines[7][0] = "";

    EXPECT_EQ(stopOfLines(lines), "now, you have no elements.");
}

TEST_F(Head, RefusesALongElementName) {
    std::vector<Fields> lines = soundLines();
    lines[7][0] = std::string(31, 'x');
    EXPECT_EQ(stopOfLines(lines), "(no stop)");

    lines[7][0] = std::string(300, 'x');

    EXPECT_EQ(stopOfLines(lines), about("cannot read an element"));
}

TEST_F(Head, RefusesBinaryData) {
    std::string bytes;
    for (int i = 0; i < 4096; ++i) {
        bytes += static_cast<char>(i * 37 % 256);
    }
    writeTextFile(headName, bytes);

    EXPECT_EQ(stopMessageOf(
                  [&] { readNetworkHead(openForReading(headName), headName, property, set, true, true); }),
              about("incorrect symmFunc"));
}

TEST_F(Head, ReadsPastWhatDoesNotDefineTheModel) {
    std::vector<Fields> lines = soundLines();
    lines[0][2] = "1";
    lines[1] = {"9.0", "x"};
    lines[2] = {"7", "5", "1.0", "1.0"};
    lines.push_back({"anything", "behind"});

    EXPECT_EQ(stopOfLines(lines), "(no stop)");
}

TEST_F(Head, ChecksNoShapeWithoutNetworks) {
    std::vector<Fields> lines = soundLines();
    lines[4] = {"9", "9", "9", "9"};
    lines[5] = {"1", "1", "1", "1"};

    EXPECT_EQ(stopOfLines(lines, false), "(no stop)");
}

TEST_F(Head, StopsForChargesInARunWithoutThem) {
    const std::vector<Fields> lines = soundLines();
    property.withCharge = 0;

    EXPECT_EQ(stopOfLines(lines), about("incorrect type of neural network"));
}

TEST_F(Head, TakesOlderFirstLines) {
    std::vector<Fields> lines = soundLines();
    lines.erase(lines.begin() + 1);
    property.withReaxFF = 0;
    lines[0] = {"3", "1", "0"};
    EXPECT_EQ(stopOfLines(lines), "(no stop)");

    lines[0] = {"3"};
    EXPECT_EQ(stopOfLines(lines), about("incorrect elemWeight"));
    property.elemWeight = 0;
    EXPECT_EQ(stopOfLines(lines), "(no stop)");
    lines[0] = {"3", "1"};
    EXPECT_EQ(stopOfLines(lines), "(no stop)");
}

TEST_F(Head, TakesAThreeFieldShapeAsOneModel) {
    std::vector<Fields> lines = soundLines();
    lines[4] = {"2", "40", "5"};
    EXPECT_EQ(stopOfLines(lines), about("incorrect #models of energy's neural network"));

    property.modelsEnergy = 1;

    EXPECT_EQ(stopOfLines(lines), "(no stop)");
}

TEST_F(Head, RefusesAShapeOfTwoFields) {
    std::vector<Fields> lines = soundLines();
    lines[4] = {"2", "40"};
    property.modelsEnergy = 1;

    EXPECT_EQ(stopOfLines(lines), about("incorrect #models of energy's neural network"));
}

TEST_F(Head, ChecksManyBody) {
    std::vector<Fields> lines = soundLines();
    property.symmFuncKind = ManyBodyKind::code;
    lines[0][0] = "1";
    const std::vector<std::pair<Fields, std::string>> cases = {
        {{"3", "2", "0", "6"}, "(no stop)"},  {{"x", "2"}, about("incorrect m2")},
        {{"0", "2"}, about("incorrect m2")},  {{"4", "3"}, about("incorrect m2")},
        {{"3", "-1"}, about("incorrect m3")}, {{"3", "1"}, about("incorrect m3")},
    };
    for (const auto& [fields, message] : cases) {
        lines[2] = fields;

        EXPECT_EQ(stopOfLines(lines), message);
    }
    lines.resize(2);

    EXPECT_EQ(stopOfLines(lines), "cannot read many-body symmetry function.");
}

TEST_F(Head, ChecksBehler) {
    std::vector<Fields> lines = soundLines();
    setBehler();
    lines[0][0] = "2";
    lines.insert(lines.begin() + 3, {{"0.5", "0"}, {"1.5", "2"}, {"0.25", "4", "0.75"}});
    const std::vector<std::pair<Fields, std::string>> cases = {
        {{"2", "1", "6.5", "4.25", "1"}, "(no stop)"},
        {{"2", "1", "6.5"}, "(no stop)"},
        {{"x", "1"}, about("incorrect #G2-functions of Behler")},
        {{"0", "2"}, about("incorrect #G2-functions of Behler")},
        {{"3", "2"}, about("incorrect #G2-functions of Behler")},
        {{"2", "-1"}, about("incorrect #G3/G4-functions of Behler")},
        {{"2", "2"}, about("incorrect #G3/G4-functions of Behler")},
    };
    for (const auto& [fields, message] : cases) {
        lines[2] = fields;

        EXPECT_EQ(stopOfLines(lines), message);
    }
}

TEST_F(Head, StopsAtMissingLinesOfBehler) {
    std::vector<Fields> lines = soundLines();
    setBehler();
    lines[0][0] = "2";
    lines[2] = {"2", "1", "6.5", "4.25", "1"};
    lines.insert(lines.begin() + 3, {{"0.5", "0"}, {"1.5", "2"}, {"0.25", "4"}});
    EXPECT_EQ(stopOfLines(lines), "(no stop)");

    const std::vector<std::string> messages = {"cannot read G3/G4 of Behler.", "cannot read G2 of Behler.",
                                               "cannot read G2 of Behler.",
                                               "cannot read Behler's symmetry function."};
    lines.resize(6);
    for (const std::string& message : messages) {
        lines.pop_back();

        EXPECT_EQ(stopOfLines(lines), message);
    }
}

TEST_F(Head, StopsForAnUnknownKindOfSymmetryFunctions) {
    std::vector<Fields> lines = soundLines();
    property.symmFuncKind = 9;
    lines[0][0] = "9";

    EXPECT_EQ(stopOfLines(lines), about("unknown symmetry function"));
}

} // namespace
} // namespace melta
