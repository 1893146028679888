#include "potential/TeamEvaluator.hpp"

#include "potential/GeometryAtoms.hpp"
#include "potential/ModelRestorer.hpp"
#include "potential/PotentialFixture.hpp"
#include "structure/ThreadCount.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <random>

namespace melta::test {
namespace {

constexpr Wishes energiesAndForces = Wish::energy | Wish::forces;

// Constant values, and derivatives of any kind.
class BentSymmFunc final : public SymmFunc {
public:
    BentSymmFunc(int size, float constant, float slope)
        : SymmFunc(2, false, false), value(constant), derivative(slope) {
        numBasis = size;
    }

    void calculateAtom(const NeighborArrays& /*neighbors*/, std::span<float> symmData,
                       std::span<float> symmDiff) const override {
        std::ranges::fill(symmData, value);
        std::ranges::fill(symmDiff, derivative);
    }

private:
    float value;
    float derivative;
};

class TeamEvaluatorTest : public PotentialFixture {
protected:
    void restore() {
        makeModel();
        writeHistograms();
        outputOf([this] {
            model = restoreModel(property, *set, file("melta.data"), property.withCharge != 0);
            restoreHistograms(*model, *set, file("melta.gdist"));
        });
    }

    // One evaluation of all atoms, or of some.
    Evaluation evaluate(const Geometry& geometry, Wishes wishes) const {
        const GeometryAtoms source(geometry, set->numElems);
        return evaluate(source, source.atoms(), wishes);
    }
    Evaluation evaluate(const AtomSource& source, std::span<const int> atoms, Wishes wishes) const {
        Evaluation result;
        TeamEvaluator(*model).evaluate(source, atoms, wishes, result);
        return result;
    }

    std::string stopOf(const Geometry& geometry, Wishes wishes) const {
        return stopMessageOf([&] { static_cast<void>(evaluate(geometry, wishes)); });
    }

    std::unique_ptr<ModelData> model;
};

TEST_F(TeamEvaluatorTest, GivesWhatTheArrangementGives) {
    property.withCharge = 1;
    restore();
    for (const auto& geometry : set->geometries) {
        const Expected expected = expect(*geometry);

        const Evaluation result = evaluate(*geometry, energiesAndForces | Wish::charges);

        double sum = 0.0;
        for (std::size_t a = 0; a < expected.energies.size(); ++a) {
            const double energy = result.energies[a] + set->getElementEnergy(geometry->elements[a]);
            EXPECT_LE(std::abs(energy - expected.energies[a]), 2.0e-5) << a;
            EXPECT_LE(std::abs(result.charges[a] - expected.charges[a]), 2.0e-6) << a;
            sum += result.energies[a];
        }
        EXPECT_LE(std::abs(result.energy - sum), 1.0e-9);
        for (std::size_t i = 0; i < expected.forces.size(); ++i) {
            EXPECT_LE(std::abs(result.forces[i] - expected.forces[i]),
                      2.0e-5 * (1.0 + std::abs(expected.forces[i])))
                << i;
        }
        EXPECT_EQ(result.forces.size(), expected.forces.size());
    }
}

TEST_F(TeamEvaluatorTest, AnAtomDependsNeitherOnThreadsNorOnCompany) {
    restore();
    const Geometry& geometry = set->getGeometry(0);
    const GeometryAtoms source(geometry, set->numElems);
    std::vector<int> atoms(source.atoms().begin(), source.atoms().end());
    const Evaluation expected = evaluate(geometry, energiesAndForces);
    std::mt19937 random(4);
    for (const int count : {1, 2, 3, 20}) {
        const ThreadCount threads(count);
        for (std::size_t size = 0; size <= atoms.size(); ++size) {
            std::ranges::shuffle(atoms, random);

            const Evaluation result = evaluate(source, std::span(atoms).first(size), Wish::energy);

            for (std::size_t k = 0; k < size; ++k) {
                const auto atom = static_cast<std::size_t>(atoms[k]);
                EXPECT_EQ(result.energies[atom], expected.energies[atom]) << count << " threads";
            }
        }
        const Evaluation all = evaluate(geometry, energiesAndForces);
        for (std::size_t i = 0; i < expected.forces.size(); ++i) {
            EXPECT_LE(std::abs(all.forces[i] - expected.forces[i]), 1.0e-12 * (1.0 + std::abs(all.forces[i])))
                << count << " threads";
        }
    }
    EXPECT_NE(expected.energies[0], expected.energies[2]) << "proves nothing";
}

TEST_F(TeamEvaluatorTest, OtherAtomsKeepWhatTheyHave) {
    restore();
    const GeometryAtoms source(set->getGeometry(0), set->numElems);
    TeamEvaluator evaluator(*model);
    Evaluation result;
    evaluator.evaluate(source, source.atoms(), Wish::energy | Wish::novelty, result);
    const Evaluation all = result;
    result.energies[0] = 17.0;
    result.energies[2] = 18.0;
    result.novelty[0] = 5;
    const int atoms[] = {2};

    evaluator.evaluate(source, atoms, Wish::energy | Wish::novelty, result);

    EXPECT_EQ(result.energies[0], 17.0);
    EXPECT_EQ(result.novelty[0], 5);
    EXPECT_EQ(result.energies[2], all.energies[2]);
    EXPECT_EQ(result.energy, all.energies[2]);
}

TEST_F(TeamEvaluatorTest, EachAtomIsNovelByItself) {
    restore();
    Geometry& geometry = set->getGeometry(0);
    EXPECT_EQ(evaluate(geometry, Wish::novelty).numNovel, 0);
    // All neighbours of one of them twice, which the lists of the others do not know.
    std::vector<Neighbor> doubled;
    for (int copy = 0; copy < 2; ++copy) {
        const auto list = geometry.getNeighbors(3);
        doubled.insert(doubled.end(), list.begin(), list.end());
    }
    ASSERT_FALSE(doubled.empty());
    geometry.replaceNeighbors(3, doubled);

    const Evaluation result = evaluate(geometry, Wish::novelty);

    EXPECT_EQ(result.novelty, (std::vector<std::uint8_t>{0, 0, 0, 1}));
    EXPECT_EQ(result.numNovel, 1);
}

TEST_F(TeamEvaluatorTest, RefusesElementsThatAreNotThere) {
    restore();
    for (const int element : {-1, 2}) {
        set->getGeometry(0).elements[1] = element;

        EXPECT_EQ(stopOf(set->getGeometry(0), Wish::energy), "index of element is out of range.");
    }
}

TEST_F(TeamEvaluatorTest, RefusesAModelThatLacksAnElement) {
    restore();
    model->statistics.symmDev[1] = -1.0f;

    EXPECT_EQ(stopOf(set->getGeometry(0), Wish::energy), "symmDev have not been prepared.");
}

TEST_F(TeamEvaluatorTest, StopsAtValuesThatAreNotFinite) {
    restore();
    const int numBasis = model->symmFunc->getNumBasis();
    model->symmFunc = std::make_unique<BentSymmFunc>(numBasis, std::numeric_limits<float>::quiet_NaN(), 1.0f);

    EXPECT_EQ(stopOf(set->getGeometry(0), Wish::energy), "NaN at symmetry functions of the 0 -th geometry.");
}

// Derivatives alone, where anybody has asked for what comes from them.
TEST_F(TeamEvaluatorTest, StopsAtDerivativesThatAreNotFinite) {
    restore();
    const Geometry& geometry = set->getGeometry(0);
    const int numBasis = model->symmFunc->getNumBasis();
    model->symmFunc = std::make_unique<BentSymmFunc>(numBasis, 0.5f, std::numeric_limits<float>::infinity());

    EXPECT_EQ(stopOf(geometry, Wish::energy), "(no stop)");
    EXPECT_EQ(stopOf(geometry, energiesAndForces), "NaN at symmetry functions of the 0 -th geometry.");
}

TEST_F(TeamEvaluatorTest, ShowsForcesThatTheNetworksAloneSpoil) {
    restore();
    const int numBasis = model->symmFunc->getNumBasis();
    model->symmFunc = std::make_unique<BentSymmFunc>(numBasis, 0.5f, 1.0f);
    for (NNEnsemble& ensemble : model->energyNetworks) {
        ensemble.getLastLayer().weightOf(0).front() = std::numeric_limits<float>::infinity();
    }

    const Evaluation result = evaluate(set->getGeometry(0), energiesAndForces);

    EXPECT_FALSE(std::isfinite(result.forces[0]));
}

} // namespace
} // namespace melta::test
