#include "training/NNChargeTrainer.hpp"

#include "base/Reporting.hpp"
#include "training/LossScales.hpp"

#include <cmath>
#include <numeric>

namespace melta {

void NNChargeTrainer::setLossScales() {
    chargeScale = makeLossScales(getProperty(), getProperty().coefCharge, getGeometrySet().chargeDev,
                                 session.arch->getNumElems());
}

bool NNChargeTrainer::evaluateTraining() {
    session.arch->clearWeightGrads();
    if (getProperty().hasChargeCoef != 0) {
        session.arch->goBackwardOnCharge(chargeScale);
    } else {
        session.arch->goForwardOnCharge();
    }
    rmseTrainCharge = obtainError(*session.arch);
    return rmseTrainCharge <= getProperty().rmseCharge;
}

bool NNChargeTrainer::evaluateTest() {
    if (!session.testArch) {
        return false;
    }
    session.testArch->goForwardOnCharge();
    rmseTestCharge = obtainError(*session.testArch);
    return rmseTestCharge <= getProperty().rmseCharge;
}

float NNChargeTrainer::obtainError(const NNArch& arch) const {
    float error = 0.0f;
    arch.squareErrorsOfCharge(error);
    return std::sqrt(error / static_cast<float>(arch.getNumAtomsBatch()));
}

float NNChargeTrainer::lossValue() const {
    if (getProperty().hasChargeCoef == 0) {
        return 0.0f;
    }
    const std::span<const float> terms = session.arch->getLossCharge();
    return std::accumulate(terms.begin(), terms.end(), 0.0f);
}

void NNChargeTrainer::printProgress(int epoch) const {
    printOut("  #.%6d  RMSE(Q):%10.3e  Loss:%10.3e  Time[ wall=%s epoch=%s ]\n", epoch,
             static_cast<double>(rmseTrainCharge), static_cast<double>(lossValue()),
             session.wallTimer.getTime().c_str(), session.epochTimer.getTime().c_str());
    if (session.testArch) {
        printOut("  @         RMSE(Q):%10.3e  (for test data)\n", static_cast<double>(rmseTestCharge));
    }
    flushOut();
}

} // namespace melta
