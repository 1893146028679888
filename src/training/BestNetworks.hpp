#pragma once

#include <limits>
#include <vector>

namespace melta {

class NNArch;

// The networks with the least error of the in-situ test that a training has seen, kept in memory.
class BestNetworks {
public:
    // When the networks were seen: after an epoch, counted from 1, of a super epoch; 0: those that the
    // training began with.
    struct Moment {
        int superEpoch = 0;
        int epoch = 0;
    };

    // Takes the present networks if their measure is less than that of all before. NaN never is.
    void offer(const NNArch& arch, float measure, Moment moment);

    bool isEmpty() const { return parameters.empty(); }
    Moment getMoment() const { return moment; }
    float getMeasure() const { return leastMeasure; }

    // Exchanges the kept parameters with those of the arrangement, whose gradients and moments stay. A second
    // call undoes it.
    void exchangeWith(NNArch& arch);

private:
    std::vector<float> parameters; // of all layers and of the symmetry functions, as they stand
    float leastMeasure = std::numeric_limits<float>::infinity();
    Moment moment;
};

} // namespace melta
