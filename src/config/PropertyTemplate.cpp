#include "base/LineReader.hpp"
#include "base/Reporting.hpp"
#include "config/BaselineKind.hpp"
#include "config/NetworkFields.hpp"
#include "config/SymmFuncKind.hpp"
#include "config/TemplateText.hpp"

namespace melta {
namespace {

constexpr TemplateLine runLines[] = {
    {"restart", &Property::restart},
    {"insituTest", &Property::insituTest},
    {"withCharge", &Property::withCharge},
};
constexpr TemplateLine optimiserLines[] = {
    {"lbfgs", &Property::lbfgs},
    {"epochs", &Property::epochs},
    {"superEpochs", &Property::superEpochs},
    {"geomsEpoch", &Property::geomsEpoch},
    {"withHDNNP", &Property::withHDNNP},
};
constexpr TemplateLine targetLines[] = {
    {"rmseEnergy", &Property::rmseEnergy},
    {"rmseForce", &Property::rmseForce},
    {"rmseCharge", &Property::rmseCharge},
};

std::string wordLine(const char* key, const std::string& value) {
    return formatText("%-15s%s\n", key, value.c_str());
}

std::string realLine(const char* key, float value, int decimals) {
    return wordLine(key, formatText("%.*f", decimals, static_cast<double>(value)));
}

std::string lineText(const Property& property, const TemplateLine& line) {
    if (const auto* const field = std::get_if<int Property::*>(&line.field)) {
        return wordLine(line.key, std::to_string(property.**field));
    }
    const float value = property.*std::get<float Property::*>(line.field);
    constexpr float smallest = 0.0005f; // that three decimals show
    if (value > 0.0f && value < smallest) {
        return wordLine(line.key, formatText("%.1e", static_cast<double>(value)));
    }
    return realLine(line.key, value, 3);
}

} // namespace

std::string linesText(const Property& property, std::span<const TemplateLine> lines) {
    std::string text;
    for (const TemplateLine& line : lines) {
        text += lineText(property, line);
    }
    return text;
}

namespace {

std::string symmFuncText(const Property& property) {
    const SymmFuncKind* const kind = findSymmFuncKind(property.symmFuncKind);
    return kind != nullptr ? wordLine("symmFunc", kind->getWord()) + kind->templateText(property)
                           : wordLine("symmFunc", "???");
}

std::string trainingText(const Property& property) {
    const SymmFuncKind* const kind = findSymmFuncKind(property.symmFuncKind);
    return kind != nullptr ? kind->trainingText(property) : "";
}

std::string baselineText(const Property& property) {
    std::string text;
    for (const BaselineKind* const kind : baselineKinds()) {
        text += linesText(property, kind->templateLines());
    }
    return text;
}

// A network without activation makes no sense in a new training: its template shows the banner's text, which
// the reader refuses, so that the user has to choose one.
const char* activationWord(int activ) {
    const CodeName* const name = findCode(activationNames, activ);
    if (name == nullptr) {
        return "???";
    }
    return activ == Activation::asis ? name->title : name->word;
}

std::string networkText(const Property& property, const NetworkFields& fields) {
    const TemplateLine lines[] = {
        {"models", fields.models}, {"layers", fields.layers}, {"nodes", fields.nodes}};
    return linesText(property, lines) + wordLine("activ", activationWord(property.*fields.activ));
}

// Four significant digits are enough for a limit.
int decimalsOfLimit(float limit) {
    if (limit < 10.0f) {
        return 3;
    }
    return limit < 100.0f ? 2 : 1;
}

std::string templateText(const Property& property, bool chargeMode) {
    return linesText(property, runLines) + baselineText(property) + "\n" + symmFuncText(property) + "\n" +
           networkText(property, chargeMode ? chargeNetwork : energyNetwork) +
           linesText(property, optimiserLines) + trainingText(property) + "\n" +
           linesText(property, targetLines) +
           realLine("maxForce", property.maxForce, decimalsOfLimit(property.maxForce));
}

} // namespace

void Property::writeTemplate(const std::string& fileName, bool chargeMode, bool overwrite) const {
    if (!overwrite && LineReader(fileName).isOpen()) {
        return;
    }
    FilePointer file = openForWriting(fileName);
    std::fputs(templateText(*this, chargeMode).c_str(), file.get());
    closeWritten(std::move(file), fileName);
}

} // namespace melta
