#pragma once

#include "network/LossQuantity.hpp"

#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace melta {

// One term of a loss: the errors of a quantity, squared and weighed,
//
//     sum over values of scale[element] (error / divisorOfError)^2 / divisorOf(batch),
//
// or the root of that. A term without scales is no part of the loss; its errors can still be measured. What
// a term is divided by belongs to the whole batch, so that losses and gradients of parts of a batch add up.
class LossTerm {
public:
    LossTerm(const OutputQuantity& ofOutputs, std::vector<float> scales, bool takesRoot)
        : outputQuantity(&ofOutputs), scale(std::move(scales)), hasRoot(takesRoot) {}
    LossTerm(const DerivativeQuantity& ofDerivatives, std::vector<float> scales, bool takesRoot)
        : derivativeQuantity(&ofDerivatives), scale(std::move(scales)), hasRoot(takesRoot) {}

    const LossQuantity& getQuantity() const {
        return outputQuantity != nullptr ? static_cast<const LossQuantity&>(*outputQuantity)
                                         : *derivativeQuantity;
    }

    // One of these is null.
    const OutputQuantity* getOutputQuantity() const { return outputQuantity; }
    const DerivativeQuantity* getDerivativeQuantity() const { return derivativeQuantity; }

    bool isInLoss() const { return !scale.empty(); }
    std::span<const float> getScale() const { return scale; } // [numElems], see above
    bool takesRoot() const { return hasRoot; }

    // Where the batch gives values of the quantity: those of derivatives only where they are in the loss,
    // because they are expensive.
    bool isMeasured() const { return outputQuantity != nullptr || isInLoss(); }

    // Turns values [numValues][stride] of a geometry, of which the first numModels of each row count, into
    // the gradient of the loss with respect to them, times factor [numModels]; adds the loss of each model to
    // loss [numModels]. `whole`: the batch that the geometry belongs to.
    void differentiate(const Geometry& geometry, const BatchCounts& whole, std::size_t stride,
                       std::span<const float> factor, float* values, std::span<double> loss) const;

    // Takes the loss of each model, as differentiate adds it up over the batch; with takesRoot its root is
    // kept. Gives the factors [numModels] of the gradient of the root; 1 without it.
    std::vector<float> setLoss(std::span<const double> sums);

    // Loss of each model, [numModels], of the last evaluation; empty before and without scales.
    std::span<const float> getLoss() const { return loss; }

    // The errors at which a training is content: root mean square in the unit of the quantity. Without one
    // any error will do.
    std::optional<float> targetError;

    // Errors on testing data are of interest also without scales.
    bool isWatched = false;

private:
    const OutputQuantity* outputQuantity = nullptr;
    const DerivativeQuantity* derivativeQuantity = nullptr;
    std::vector<float> scale; // [numElems]
    bool hasRoot;
    std::vector<float> loss; // [numModels]
};

// The quantities of derivatives that are in a loss, in the order of their terms; the second with those that
// are watched.
std::vector<const DerivativeQuantity*> derivativesIn(std::span<const LossTerm> terms);
std::vector<const DerivativeQuantity*> derivativesToTest(std::span<const LossTerm> terms);

// Squared errors of a quantity, collected over batches.
struct QuantityError {
    const LossQuantity* quantity;
    float sum = 0.0f;
    std::size_t count = 0; // what the sum is to be divided by

    // Root mean square, in the unit of the quantity.
    float rootMeanSquare() const;
};

// Adds the squared errors of values [numValues] of a geometry to `sum`.
void addSquaredErrors(const LossQuantity& quantity, const Geometry& geometry, std::span<const float> values,
                      double& sum);

} // namespace melta
