#include "training/TrainingPlan.hpp"

#include "base/ProcessGuard.hpp"
#include "base/Reporting.hpp"
#include "config/SymmFuncKind.hpp"

#include <algorithm>

namespace melta {
namespace {

bool isDirect(const Property& property) {
    return property.directSF > 0 || (property.directSF < 0 && symmFuncKindOf(property).isDirectByDefault());
}

} // namespace

TrainingPlan::TrainingPlan(const Property& property, int numGeoms)
    : geomsEpoch(property.geomsEpoch < 1 || property.geomsEpoch >= numGeoms ? numGeoms
                                                                            : property.geomsEpoch) {
    if (geomsEpoch < 1) {
        stopWithMessage("#geometries/#processes per a super epoch is not positive.");
    }
    partial = geomsEpoch < numGeoms;
    fullBatch = property.batchs < 1 || geomsEpoch <= property.batchs || property.lbfgs >= 1;
    batchSize = fullBatch ? geomsEpoch : property.batchs;
    numIterations = (geomsEpoch - 1) / batchSize + 1;
    direct = !fullBatch && isDirect(property);
    if (property.superEpochs >= 1) {
        numSuperEpochs = property.superEpochs;
    } else if (partial) {
        // geomsEpoch % numGeoms is geomsEpoch itself here, so that one more than the quotient comes out.
        numSuperEpochs = std::max(1, numGeoms / geomsEpoch + (geomsEpoch % numGeoms != 0 ? 1 : 0));
    }
}

void TrainingPlan::print() const {
    if (fullBatch) {
        printOut("  * Full-batch algorithm is used.\n\n");
    } else {
        printOut("  * Mini-batch algorithm is used.\n\n");
        printOut("  * There are %d iterations a epoch.\n\n", numIterations);
        requireSingleProcessForBatches();
    }
    printOut("  * Symmetry functions w/ %s algorithm.\n\n", direct ? "DIRECT" : "IN-CORE");
}

} // namespace melta
