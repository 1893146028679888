#pragma once

#include "config/NetworkFields.hpp"

#include <string>

namespace melta {

// What tells the two kinds of networks of a model apart in its files.
struct NetworkKind {
    const NetworkFields& fields; // where the settings keep the shape
    const char* owner;           // how messages call the kind
    const char* suffix;          // what the companion's name adds to that of the head
    bool isFromMean;             // the outputs count from the mean energy of their element
};

inline constexpr NetworkKind energyKind{energyNetwork, "energy's", "_e", true};
inline constexpr NetworkKind chargeKind{chargeNetwork, "charge's", "_q", false};

// Name of the companion of the head `fileName`, which holds the weights of one kind of networks.
inline std::string companionName(const std::string& fileName, const NetworkKind& kind) {
    return fileName + kind.suffix;
}

} // namespace melta
