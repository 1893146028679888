#pragma once

#include "baseline/zbl/ZblTable.hpp"
#include "structure/ViewBaseline.hpp"

#include <utility>

namespace melta {

// The ZBL repulsion for views.
class ZblView final : public ViewBaseline {
public:
    // `forElements`: in the order of the views.
    explicit ZblView(ZblTable forElements) : table(std::move(forElements)) {}

    [[nodiscard]] double influenceDistance() const override { return table.getReach(); }
    [[nodiscard]] std::unique_ptr<Evaluator> makeEvaluator() const override;

private:
    class PairEvaluator;

    ZblTable table;
};

} // namespace melta
