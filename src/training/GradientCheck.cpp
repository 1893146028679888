#include "training/GradientCheck.hpp"

#include "base/Reporting.hpp"
#include "network/GradientDifference.hpp"
#include "network/ParameterPacking.hpp"

#include <vector>

namespace melta {

void GradientCheck::run(float shift) const {
    NNArch& arch = *state->arch;
    const std::size_t length = getTotalDataSize(arch);
    if (length < 1) {
        stopWithMessage("total data length is not positive.");
    }
    std::vector<float> x(length);
    std::vector<float> analytic(length);
    task->evaluateTraining();
    const float loss = task->lossValue();
    convertToTotalData(arch, x, false);
    convertToTotalData(arch, analytic, true);
    printOut("\n            Weight,Bias   dL/dWB(NNP)   dL/dWB(Num)   Error\n");
    for (std::size_t i = 0; i < length; ++i) {
        // The next row's conversion brings this parameter back to its value.
        const float value = x[i];
        x[i] += shift;
        convertFromTotalData(arch, x);
        task->evaluateTraining();
        x[i] = value;
        const float numerical = (task->lossValue() - loss) / shift;
        printOut("%s\n", gradientRow(static_cast<int>(i) + 1, value, analytic[i], numerical).c_str());
        flushOut();
    }
}

std::string gradientRow(int number, float value, float analytic, float numerical) {
    const GradientDifference difference(analytic, numerical);
    return formatText("  #.%5d  %12.5e  %12.5e  %12.5e  %12.5e (%6.2f%%)", number, static_cast<double>(value),
                      static_cast<double>(analytic), static_cast<double>(numerical),
                      static_cast<double>(difference.error), static_cast<double>(difference.percent));
}

} // namespace melta
