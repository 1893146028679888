#include "training/LearningCourse.hpp"

#include "base/Reporting.hpp"
#include "config/FiniteNumber.hpp"
#include "config/Property.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace melta {

void LearningCourse::goOnFrom(const Standing& standing) {
    start = standing;
    position = start.position;
    nextPosition = start.position;
}

void LearningCourse::beginSuperEpoch(const Property& settings, int number, int numSuperEpochs) {
    property = &settings;
    numEpochs = static_cast<long long>(settings.epochs) * numSuperEpochs;
    firstOfSuper = static_cast<long long>(settings.epochs) * number;
    finalScale = settings.learnRateFinal / settings.learnRate;
    rateScale = number == 0 ? start.rateScale : 1.0f;
}

void LearningCourse::beginEpoch(int epoch) {
    present = firstOfSuper + epoch - 1;
    position = positionOf(present);
    nextPosition = position;
    if (hasCosine()) {
        rateScale = cosineScale(position);
    }
}

void LearningCourse::finishEpoch() {
    nextPosition = positionOf(present + 1);
    rateScale =
        hasCosine() ? cosineScale(nextPosition) : std::max(finalScale, rateScale * property->learnRateDecay);
}

// A training of a single epoch does not get anywhere.
double LearningCourse::positionOf(long long epoch) const {
    if (numEpochs < 2) {
        return start.position;
    }
    const double share = static_cast<double>(epoch) / static_cast<double>(numEpochs - 1);
    return start.position + (1.0 - start.position) * std::min(1.0, share);
}

bool LearningCourse::hasCosine() const {
    return property->learnRateSchedule == LearnRateSchedule::cosine;
}

float LearningCourse::cosineScale(double place) const {
    const double share = 0.5 * (1.0 + std::cos(std::numbers::pi * place));
    const auto last = static_cast<double>(finalScale);
    return static_cast<float>(last + (1.0 - last) * share);
}

float weightAt(double position, float first, float last) {
    if (!(last > 0.0f)) {
        return first;
    }
    const double ratio = static_cast<double>(last) / static_cast<double>(first);
    return static_cast<float>(static_cast<double>(first) * std::pow(ratio, position));
}

bool hasCourse(const Property& property, bool ofEnergies) {
    const bool hasCosine = property.learnRateSchedule == LearnRateSchedule::cosine;
    return property.lbfgs < 1 && (hasCosine || (ofEnergies && hasMovingWeights(property)));
}

std::string textOf(const LearningCourse::Standing& standing) {
    return formatText("%.9f %.9e\n", standing.position, static_cast<double>(standing.rateScale));
}

LearningCourse::Standing readStanding(const std::string& text, const std::string& fileName) {
    FieldScanner scanner(text);
    LearningCourse::Standing standing;
    const bool isRead = readFinite(scanner, standing.position) && readFinite(scanner, standing.rateScale);
    if (!isRead || standing.position < 0.0 || standing.position > 1.0 || standing.rateScale <= 0.0f ||
        standing.rateScale > 1.0f) {
        stopWithMessage("cannot read the course of the training: %s", fileName.c_str());
    }
    return standing;
}

} // namespace melta
