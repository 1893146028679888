#pragma once

#include "config/Property.hpp"

namespace melta {

// How a training run cuts its data: super epochs, batches, and where symmetry functions are kept.
struct TrainingPlan {
    int geomsEpoch = 0;     // geometries of a super epoch
    int numSuperEpochs = 1; //
    int batchSize = 0;      // geometries of a batch
    int numIterations = 1;  // batches of an epoch
    bool fullBatch = true;  // one batch holds the whole super epoch
    bool direct = false;    // symmetry functions are computed for each batch instead of being kept
    bool partial = false;   // a super epoch holds a part of the data

    // Stops with "#geometries/#processes per a super epoch is not positive.".
    TrainingPlan(const Property& property, int numGeoms);

    // What the user is told about it. Stops with "cannot use MPI for Mini-batch algorithm.".
    void print() const;
};

} // namespace melta
