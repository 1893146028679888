// The table of kinds of symmetry functions.
#include "config/SymmFuncKind.hpp"
#include "symmfunc/behler/BehlerKind.hpp"
#include "symmfunc/chebyshev/ChebyshevKind.hpp"
#include "symmfunc/cluster/ClusterKind.hpp"
#include "symmfunc/manybody/ManyBodyKind.hpp"

namespace melta {

std::span<const SymmFuncKind* const> symmFuncKinds() {
    static const ManyBodyKind manyBody;
    static const BehlerKind behler;
    static const ChebyshevKind chebyshev;
    static const ClusterKind cluster;
    static const SymmFuncKind* const kinds[] = {&manyBody, &behler, &chebyshev, &cluster};
    return kinds;
}

} // namespace melta
