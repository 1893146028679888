#pragma once

#include "potential/TileEvaluator.hpp"

#include <span>
#include <vector>

namespace melta {

// Evaluates atoms as a TileEvaluator does, with a given number of threads, each of which takes a contiguous
// part of them: for hosts, which say how many of their cores are for us. Forces are added up in the order of
// the threads, so that results depend on nothing but their number, however many the OpenMP runtime gives.
//
// One thread is the caller alone, without an OpenMP region. Work memory is kept from call to call.
class TileTeam {
public:
    // `numThreads`: at least 1.
    explicit TileTeam(int numThreads);

    // As TileEvaluator::evaluate; what is there for all wishes. Of several atoms that stop, one is named.
    void evaluate(const ModelData& model, const AtomSource& source, std::span<const int> atoms, Wishes wishes,
                  Evaluation& result);

private:
    void evaluateShares(const ModelData& model, const AtomSource& source, std::span<const int> atoms,
                        Wishes wishes, Evaluation& result);
    void addSums(Evaluation& result) const;
    void addForces(Evaluation& result) const;

    std::vector<TileEvaluator> tiles; // [numThreads]
    std::vector<Evaluation> parts; // [numThreads - 1], of all but the first, which works on the result itself
};

} // namespace melta
