// The table of kinds of baseline potentials.
#include "baseline/classical/ClassicalKind.hpp"
#include "baseline/reax/ReaxKind.hpp"

namespace melta {

std::span<const BaselineKind* const> baselineKinds() {
    static const ClassicalKind classical;
    static const ReaxKind reaxFF;
    static const BaselineKind* const kinds[] = {&classical, &reaxFF};
    return kinds;
}

} // namespace melta
