#pragma once

#include <span>
#include <string>

namespace melta {

// The words of "pair_style melta".
struct MeltaOptions {
    enum class Limit { none, warn, stop };

    int spreadEvery = 0;  // steps between reports of the committee's spread; 0: none
    int noveltyEvery = 0; // steps between reports of atoms that the training data do not cover; 0: none
    Limit limit = Limit::none;
    double largestSpread = 0.0; // of the force on an atom, beyond which there is a warning or the end
    int threads = 1;            // of each process
    std::string dumpFile;       // for configurations that exceed the limit; empty: none

    // Reads "[spread N [warn X | stop X [dump FILE]]] [novelty N] [threads N]". Throws Error for anything
    // else.
    static MeltaOptions read(std::span<const std::string> words);

private:
    void take(const std::string& option, const std::string& value);
};

} // namespace melta
