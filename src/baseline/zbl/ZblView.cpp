#include "baseline/zbl/ZblView.hpp"

#include "structure/ViewPairs.hpp"

namespace melta {

// Half of the energy of each pair belongs to the atom, which so acts on its neighbour.
class ZblView::PairEvaluator final : public ViewBaseline::Evaluator {
public:
    explicit PairEvaluator(const ZblTable& ofView) : table(ofView) {}

    void add(const NeighborView& atoms, const BaselineSums& sums) override {
        forEachPair(atoms, table.getReach(), [&](const ViewPair& pair) {
            const ZblValue value = evaluateZbl(table.pairOf(pair.element, pair.otherElement), pair.r);
            sums.energies[pair.atom] += 0.5 * value.energy;
            addPairForce(pair, -0.5 * value.slope, sums);
        });
    }

private:
    const ZblTable& table;
};

std::unique_ptr<ViewBaseline::Evaluator> ZblView::makeEvaluator() const {
    return std::make_unique<PairEvaluator>(table);
}

} // namespace melta
