#pragma once

#include <string>

namespace melta {

class Property;

// The course of a training by Adam: from its first epoch to its last the learning rate and the weights of the
// loss move from their first to their final values. Where a training stands between the two is a position
// from 0 to 1, which moves by the same step from epoch to epoch, over all super epochs.
//
// A training that goes on begins at the position where the one before it stood, and its epochs cover the rest
// of the way. So a training that was stopped after 200 of 500 epochs and goes on for 300 takes the same way
// as one without a break; one that goes on behind its end stays at the final values.
class LearningCourse {
public:
    // Where a training stands between two epochs, as it is kept beside its networks.
    struct Standing {
        double position = 0.0;
        float rateScale = 1.0f; // learning rate in units of learnRate
    };

    // Begins where another training stood.
    void goOnFrom(const Standing& standing);

    // Before the epochs of super epoch `number`, counted from 0, of `numSuperEpochs`. `settings` are
    // borrowed. By the factor learnRateDecay the learning rate falls in each super epoch anew.
    void beginSuperEpoch(const Property& settings, int number, int numSuperEpochs);

    // Around an epoch, counted from 1 in its super epoch.
    void beginEpoch(int epoch);
    void finishEpoch();

    // Position at the start of the training, and of the present epoch.
    double getStart() const { return start.position; }
    double getPosition() const { return position; }

    // Learning rate of the present epoch in units of learnRate.
    float getRateScale() const { return rateScale; }

    // Standing of the next epoch; within an epoch of this one.
    Standing getStanding() const { return {nextPosition, rateScale}; }

private:
    [[nodiscard]] double positionOf(long long epoch) const;
    [[nodiscard]] bool hasCosine() const;
    [[nodiscard]] float cosineScale(double place) const;

    const Property* property = nullptr;
    Standing start;
    double position = 0.0;
    double nextPosition = 0.0;
    float rateScale = 1.0f;
    float finalScale = 1.0f;
    long long present = 0; // epoch of all super epochs, from 0
    long long firstOfSuper = 0;
    long long numEpochs = 1; // of all super epochs
};

// Weight between its first and its final value, which it approaches by the same factor in each epoch; the
// first one where `last` is not positive. `position` as above.
float weightAt(double position, float first, float last);

// Whether the learning rate or the weights of a training of energies, or else of charges, follow a course
// that a training that goes on has to know.
bool hasCourse(const Property& property, bool ofEnergies);

// A standing as a line of text, and back. Stops with "cannot read the course of the training: %s" (the file)
// unless the text begins with a position from 0 to 1 and a scale that is positive and not above 1.
std::string textOf(const LearningCourse::Standing& standing);
LearningCourse::Standing readStanding(const std::string& text, const std::string& fileName);

} // namespace melta
