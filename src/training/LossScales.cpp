#include "training/LossScales.hpp"

#include "base/Reporting.hpp"
#include "config/Property.hpp"

namespace melta {

std::vector<float> makeLossScales(const Property& property, float coefficient,
                                  std::span<const float> deviations, int numElems) {
    const float base = property.sqrtLoss != 0 ? coefficient * coefficient : coefficient;
    std::vector<float> scales(static_cast<std::size_t>(numElems), base);
    if (property.renormLoss == 0) {
        return scales;
    }
    if (deviations.size() < scales.size()) {
        stopWithMessage("index of element is out of range.");
    }
    for (std::size_t e = 0; e < scales.size(); ++e) {
        scales[e] = (base / deviations[e]) / deviations[e];
    }
    return scales;
}

} // namespace melta
