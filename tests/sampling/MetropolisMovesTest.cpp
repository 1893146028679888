#include "sampling/MetropolisMoves.hpp"

#include "sampling/WalkFixture.hpp"

#include <algorithm>
#include <cstring>

namespace melta::test {
namespace {

using Place = MetropolisMoves::Place;

class MetropolisMovesTest : public WalkFixture {
protected:
    MetropolisMovesTest() {
        addAtom(input, "Si");
        addAtom(input, "O", true);
        addAtom(input, "O");
        addAtom(input, "Si");
        addAtom(input, "O");
        addVacancy(input, 10.25f, 1.5f, 2.5f);
        addVacancy(input, 11.0f, 0.1f, 0.2f);
        geometry.positions = {0.1f, 0.2f, 0.3f, 1.1f, 1.2f, 1.3f, 2.1f, 2.2f,
                              2.3f, 3.1f, 3.2f, 3.3f, 4.1f, 4.2f, 4.3f};
    }

    std::vector<float> positionOf(std::size_t atom) const {
        const auto begin = geometry.positions.begin() + 3 * static_cast<std::ptrdiff_t>(atom);
        return {begin, begin + 3};
    }
    std::vector<float> vacancyOf(std::size_t index) const {
        const auto begin = input.vacancyCoords.begin() + 3 * static_cast<std::ptrdiff_t>(index);
        return {begin, begin + 3};
    }

    Geometry geometry = Geometry(std::array<float, 9>{50, 0, 0, 0, 50, 0, 0, 0, 50}, 5, false);
};

TEST_F(MetropolisMovesTest, MobileAtoms) {
    const MetropolisMoves moves(input, geometry, random);

    EXPECT_TRUE(std::ranges::equal(moves.getMobileAtoms(), std::vector<int>{0, 2, 3, 4}));
}

TEST_F(MetropolisMovesTest, NoMobileAtoms) {
    input.fixAtoms.assign(5, 1);
    EXPECT_EQ(stopMessageOf([this] { MetropolisMoves(input, geometry, random); }),
              "there are no mobile atoms.");

    input.withShift = 0;
    EXPECT_EQ(stopMessageOf([this] { MetropolisMoves(input, geometry, random); }), "(no stop)");
}

TEST_F(MetropolisMovesTest, MobileAtomsAreCheckedBeforeThePairs) {
    input.fixAtoms.assign(5, 1);
    addPair(input, "N", "O");

    EXPECT_EQ(stopMessageOf([this] { MetropolisMoves(input, geometry, random); }),
              "there are no mobile atoms.");
}

TEST_F(MetropolisMovesTest, HalfOfTheMovesAreShifts) {
    addPair(input, "Si", "O");
    addPair(input, "Si", "X");
    addPair(input, "X", "O");
    MetropolisMoves moves(input, geometry, random);
    std::vector<double> counts(4);

    for (int i = 0; i < 60000; ++i) {
        ++counts.at(static_cast<std::size_t>(moves.chooseType() + 1));
    }

    EXPECT_LE(chiSquare(counts, {3, 1, 1, 1}), 16.3);
}

TEST_F(MetropolisMovesTest, WithoutShiftsPairsHaveEqualShares) {
    input.withShift = 0;
    addPair(input, "Si", "O");
    addPair(input, "Si", "X");
    MetropolisMoves moves(input, geometry, random);
    std::vector<double> counts(2);

    for (int i = 0; i < 40000; ++i) {
        ++counts.at(static_cast<std::size_t>(moves.chooseType()));
    }

    EXPECT_LE(chiSquare(counts, {1, 1}), 10.8);
}

TEST_F(MetropolisMovesTest, ShiftsAloneNeedNoDraw) {
    MetropolisMoves moves(input, geometry, random);
    RandomSource same = random;

    EXPECT_EQ(moves.chooseType(), MetropolisMoves::shift);
    EXPECT_EQ(random.draw(), same.draw());
}

TEST_F(MetropolisMovesTest, NoKindOfMoves) {
    input.withShift = 0;
    MetropolisMoves moves(input, geometry, random);

    EXPECT_EQ(stopMessageOf([&] { static_cast<void>(moves.chooseType()); }),
              "there are not atomic shift nor swapping.");
    EXPECT_EQ(stopMessageOf([&] { moves.perform(MetropolisMoves::shift); }), "incorrect type of swapping.");
}

TEST_F(MetropolisMovesTest, AShiftTakesFourNumbers) {
    MetropolisMoves moves(input, geometry, random);
    RandomSource same = random;
    const int atom = std::array{0, 2, 3, 4}.at(static_cast<std::size_t>(same.draw() / 8192));
    std::vector<float> expected = positionOf(static_cast<std::size_t>(atom));
    for (float& coordinate : expected) {
        const float u = static_cast<float>(same.draw()) / 32768.0f;
        coordinate = ((u - 1.0f) + u) * 0.2f + coordinate;
    }

    moves.perform(MetropolisMoves::shift);

    EXPECT_EQ(positionOf(static_cast<std::size_t>(atom)), expected);
    EXPECT_TRUE(std::ranges::equal(moves.getMovedAtoms(), std::vector<int>{atom}));
    EXPECT_EQ(random.draw(), same.draw());
}

TEST_F(MetropolisMovesTest, ShiftsAreUniformInACube) {
    input.shiftCoord = 0.75f;
    MetropolisMoves moves(input, geometry, random);
    const std::vector<float> start = geometry.positions;
    constexpr std::size_t numBins = 8;
    std::vector<double> atoms(5);
    std::vector<std::vector<double>> bins(3, std::vector<double>(numBins));

    for (int i = 0; i < 40000; ++i) {
        moves.perform(MetropolisMoves::shift);
        const auto atom = static_cast<std::size_t>(moves.getMovedAtoms()[0]);
        ++atoms.at(atom);
        for (std::size_t c = 0; c < 3; ++c) {
            const float distance = geometry.positions[3 * atom + c] - start[3 * atom + c];
            ASSERT_LE(std::abs(distance), 0.750001f);
            const float scaled = (distance + 0.75f) / 1.5f * static_cast<float>(numBins);
            ++bins[c].at(std::min(static_cast<std::size_t>(std::max(scaled, 0.0f)), numBins - 1));
        }
        moves.undo();
        ASSERT_EQ(geometry.positions, start);
    }

    EXPECT_EQ(atoms[1], 0.0) << "a fixed atom has moved";
    EXPECT_LE(chiSquare({atoms[0], atoms[2], atoms[3], atoms[4]}, {1, 1, 1, 1}), 16.3);
    for (const std::vector<double>& ofCoordinate : bins) {
        EXPECT_LE(chiSquare(ofCoordinate, std::vector<double>(numBins, 1.0)), 24.3);
    }
}

TEST_F(MetropolisMovesTest, SwapsTakeAnyMobileAtomsOfThePair) {
    addPair(input, "O", "Si");
    MetropolisMoves moves(input, geometry, random);
    std::vector<double> counts(4); // O 2 or 4, Si 0 or 3

    for (int i = 0; i < 20000; ++i) {
        moves.perform(0);
        ASSERT_EQ(moves.getMovedAtoms().size(), 2U);
        const int oxygen = moves.getMovedAtoms()[0];
        const int silicon = moves.getMovedAtoms()[1];
        ASSERT_TRUE(oxygen == 2 || oxygen == 4) << oxygen;
        ASSERT_TRUE(silicon == 0 || silicon == 3) << silicon;
        ++counts[(oxygen == 4 ? 2U : 0U) + (silicon == 3 ? 1U : 0U)];
    }

    EXPECT_LE(chiSquare(counts, {1, 1, 1, 1}), 16.3);
}

TEST_F(MetropolisMovesTest, ASwapExchangesPositionsOnly) {
    addPair(input, "O", "Si");
    MetropolisMoves moves(input, geometry, random);
    const std::vector<float> start = geometry.positions;

    moves.perform(0);

    const auto a = static_cast<std::size_t>(moves.getMovedAtoms()[0]);
    const auto b = static_cast<std::size_t>(moves.getMovedAtoms()[1]);
    EXPECT_TRUE(std::equal(start.begin() + 3 * static_cast<std::ptrdiff_t>(a),
                           start.begin() + 3 * static_cast<std::ptrdiff_t>(a) + 3,
                           geometry.positions.begin() + 3 * static_cast<std::ptrdiff_t>(b)));
    EXPECT_TRUE(std::equal(start.begin() + 3 * static_cast<std::ptrdiff_t>(b),
                           start.begin() + 3 * static_cast<std::ptrdiff_t>(b) + 3,
                           geometry.positions.begin() + 3 * static_cast<std::ptrdiff_t>(a)));
    EXPECT_EQ(input.elemAtoms, (std::vector<std::int32_t>{0, 1, 1, 0, 1}));
}

TEST_F(MetropolisMovesTest, AnAtomAndAVacancyExchangePlaces) {
    addPair(input, "X", "Si");
    MetropolisMoves moves(input, geometry, random);
    std::vector<double> counts(4); // vacancy 0 or 1, atom 0 or 3

    for (int i = 0; i < 20000; ++i) {
        const std::vector<std::vector<float>> vacancies{vacancyOf(0), vacancyOf(1)};
        const std::vector<std::vector<float>> atoms{positionOf(0), positionOf(3)};
        moves.perform(0);
        ASSERT_EQ(moves.getMovedAtoms().size(), 1U);
        const std::size_t atom = moves.getMovedAtoms()[0] == 0 ? 0 : 1;
        const std::size_t vacancy = vacancyOf(0) == vacancies[0] ? 1 : 0;
        ASSERT_EQ(positionOf(atom == 0 ? 0 : 3), vacancies[vacancy]);
        ASSERT_EQ(vacancyOf(vacancy), atoms[atom]);
        ASSERT_EQ(positionOf(atom == 0 ? 3 : 0), atoms[1 - atom]);
        ASSERT_EQ(vacancyOf(1 - vacancy), vacancies[1 - vacancy]);
        ++counts[2 * vacancy + atom];
    }

    EXPECT_LE(chiSquare(counts, {1, 1, 1, 1}), 16.3);
}

TEST_F(MetropolisMovesTest, UndoRestoresBitForBit) {
    addPair(input, "O", "Si");
    addPair(input, "O", "X");
    addPair(input, "X", "Si");
    geometry.positions[0] = -0.0f;
    input.vacancyCoords[0] = 1.0e-40f;
    MetropolisMoves moves(input, geometry, random);
    const std::vector<float> positions = geometry.positions;
    const std::vector<float> vacancies = input.vacancyCoords;

    for (int i = 0; i < 1000; ++i) {
        moves.perform(moves.chooseType());
        moves.undo();

        ASSERT_EQ(std::memcmp(geometry.positions.data(), positions.data(), 4 * positions.size()), 0);
        ASSERT_EQ(std::memcmp(input.vacancyCoords.data(), vacancies.data(), 4 * vacancies.size()), 0);
    }
}

TEST_F(MetropolisMovesTest, SwapCoordinatesTwiceChangesNothing) {
    MetropolisMoves moves(input, geometry, random);
    const std::vector<float> start = geometry.positions;
    const std::vector<float> vacancies = input.vacancyCoords;

    moves.swapCoordinates(Place{false, 4}, Place{true, 1});
    EXPECT_EQ(positionOf(4), (std::vector<float>{11.0f, 0.1f, 0.2f}));
    EXPECT_EQ(vacancyOf(1), (std::vector<float>{4.1f, 4.2f, 4.3f}));
    moves.swapCoordinates(Place{false, 4}, Place{true, 1});

    EXPECT_EQ(geometry.positions, start);
    EXPECT_EQ(input.vacancyCoords, vacancies);
}

} // namespace
} // namespace melta::test
