#include "baseline/classical/ClassicalParameters.hpp"

#include <cmath>

namespace melta {
namespace {

bool allFinite(const std::vector<float>& values) {
    return std::ranges::all_of(values, [](float value) { return std::isfinite(value); });
}

// Calls ofPair(pair, position of its four variables) and ofElement(element, position) in the order of the
// vector of variables.
template <class OfPair, class OfElement>
void walkVariables(std::size_t numElems, const OfPair& ofPair, const OfElement& ofElement) {
    std::size_t position = 0;
    std::size_t pair = 0;
    for (std::size_t i = 0; i < numElems; ++i) {
        for (std::size_t j = 0; j <= i; ++j, ++pair, position += numPowers) {
            ofPair(pair, position);
        }
        ofElement(i, position++);
    }
}

} // namespace

ClassicalParameters::ClassicalParameters(std::size_t numElems)
    : coefA(numPairsOf(numElems)), coefB(coefA), coefC(coefA), coefD(coefA), elemEnergy(numElems) {}

void ClassicalParameters::reset(float a) {
    std::ranges::fill(coefA, a);
    for (auto* const coefs : {&coefB, &coefC, &coefD, &elemEnergy}) {
        std::ranges::fill(*coefs, 0.0f);
    }
}

bool ClassicalParameters::isFinite() const {
    return allFinite(coefA) && allFinite(coefB) && allFinite(coefC) && allFinite(coefD) &&
           allFinite(elemEnergy);
}

ClassicalGradients::ClassicalGradients(std::size_t numElems)
    : gradA(numPairsOf(numElems)), gradB(gradA), gradC(gradA), gradD(gradA), gradElem(numElems) {}

void packVariables(const ClassicalParameters& parameters, std::span<float> variables) {
    walkVariables(
        parameters.numElems(),
        [&](std::size_t pair, std::size_t position) {
            variables[position] = std::sqrt(std::max(parameters.coefA[pair], 0.0f));
            variables[position + 1] = parameters.coefB[pair];
            variables[position + 2] = parameters.coefC[pair];
            variables[position + 3] = parameters.coefD[pair];
        },
        [&](std::size_t i, std::size_t position) { variables[position] = parameters.elemEnergy[i]; });
}

void unpackVariables(std::span<const float> variables, ClassicalParameters& parameters) {
    walkVariables(
        parameters.numElems(),
        [&](std::size_t pair, std::size_t position) {
            parameters.coefA[pair] = variables[position] * variables[position];
            parameters.coefB[pair] = variables[position + 1];
            parameters.coefC[pair] = variables[position + 2];
            parameters.coefD[pair] = variables[position + 3];
        },
        [&](std::size_t i, std::size_t position) { parameters.elemEnergy[i] = variables[position]; });
}

void packGradients(const ClassicalGradients& gradients, std::span<const float> variables,
                   std::span<float> result) {
    walkVariables(
        gradients.gradElem.size(),
        [&](std::size_t pair, std::size_t position) {
            result[position] = gradients.gradA[pair] * 2.0f * variables[position];
            result[position + 1] = gradients.gradB[pair];
            result[position + 2] = gradients.gradC[pair];
            result[position + 3] = gradients.gradD[pair];
        },
        [&](std::size_t i, std::size_t position) { result[position] = gradients.gradElem[i]; });
}

} // namespace melta
