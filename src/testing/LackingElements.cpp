#include "testing/LackingElements.hpp"

#include "base/Reporting.hpp"
#include "potential/ModelData.hpp"

#include <algorithm>

namespace melta {

void tellLackingElements(const ModelData& model, const GeometrySet& geometrySet) {
    for (int element = 0; element < geometrySet.numElems; ++element) {
        if (model.statistics.symmDev[static_cast<std::size_t>(element)] > 0.0f) {
            continue;
        }
        const auto first = std::ranges::find_if(geometrySet.geometries, [element](const auto& geometry) {
            return std::ranges::find(geometry->elements, element) != geometry->elements.end();
        });
        if (first != geometrySet.geometries.end()) {
            printOut("  * The neural network does not have the element %s of the %d -th geometry: %s\n\n",
                     geometrySet.getElementName(element).c_str(),
                     static_cast<int>(first - geometrySet.geometries.begin()), geometrySet.fileName.c_str());
        }
    }
}

} // namespace melta
