#pragma once

#include "config/Property.hpp"

namespace melta {

// The baseline potential of a model, by its code in the head; larger codes mean reaxFF, too.
struct ModelBaseline {
    enum Code : int { none = 0, classical = 1, reaxFF = 2 };
};

inline ModelBaseline::Code baselineOf(const Property& property) {
    if (property.withReaxFF != 0) {
        return ModelBaseline::reaxFF;
    }
    return property.withClassical != 0 ? ModelBaseline::classical : ModelBaseline::none;
}

} // namespace melta
