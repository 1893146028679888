#include "config/HeadWriter.hpp"

#include "config/BaselineKind.hpp"
#include "config/NetworkKind.hpp"
#include "config/SymmFuncKind.hpp"

namespace melta {
namespace {

// Files of earlier versions have switches with other numbers, of which some cannot be read again.
int switchOf(int value) {
    return value != 0 ? 1 : 0;
}

void writeShape(std::FILE* stream, const Property& property, const NetworkFields& fields) {
    std::fprintf(stream, "%d %d %d %d\n", property.*fields.layers, property.*fields.nodes,
                 property.*fields.activ, property.*fields.models);
}

} // namespace

void writeHeadSizes(std::FILE* stream, int radialSize, int angularSize, float firstLength,
                    float secondLength) {
    std::fprintf(stream, "%d %d %.8e %.8e", radialSize, angularSize, static_cast<double>(firstLength),
                 static_cast<double>(secondLength));
}

void writeHeadRow(std::FILE* stream, std::initializer_list<float> numbers) {
    const char* separator = "";
    for (const float number : numbers) {
        std::fprintf(stream, "%s%.8e", separator, static_cast<double>(number));
        separator = " ";
    }
    std::fprintf(stream, "\n");
}

void writeHeadSettings(std::FILE* stream, const Property& property) {
    const BaselineKind* const baseline = baselineKindOf(property);
    std::fprintf(stream, "%d %d %d %d\n", property.symmFuncKind, switchOf(property.elemWeight),
                 switchOf(property.tanhCutoff), baseline != nullptr ? baseline->getCode() : 0);
    if (baseline != nullptr) {
        baseline->writeHead(stream, property);
    }
    symmFuncKindOf(property).writeHead(stream, property);
    std::fprintf(stream, "%d\n", switchOf(property.withCharge));
    writeShape(stream, property, energyKind.fields);
    if (property.withCharge != 0) {
        writeShape(stream, property, chargeKind.fields);
    }
}

} // namespace melta
