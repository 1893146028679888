// The table of kinds of baseline potentials.
#include "baseline/classical/ClassicalKind.hpp"
#include "baseline/reax/ReaxKind.hpp"
#include "baseline/zbl/ZblKind.hpp"

namespace melta {

std::span<const BaselineKind* const> baselineKinds() {
    static const ClassicalKind classical;
    static const ReaxKind reaxFF;
    static const ZblKind zbl;
    static const BaselineKind* const kinds[] = {&classical, &reaxFF, &zbl};
    return kinds;
}

} // namespace melta
