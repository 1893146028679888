#pragma once

#if defined(__SSE2__) || defined(_M_X64)
#include <pmmintrin.h>
#include <xmmintrin.h>
#endif

namespace melta {

// Lets the calling thread treat denormal floats as zero, as results and as operands: they carry nothing that
// the networks could use, and each costs a hundred times the work of a normal number. The setting belongs to
// one thread, so that every thread of a team has to make it. Processors without such a control keep their
// arithmetic.
inline void flushDenormals() {
#if defined(__SSE2__) || defined(_M_X64)
    _MM_SET_FLUSH_ZERO_MODE(_MM_FLUSH_ZERO_ON);
    _MM_SET_DENORMALS_ZERO_MODE(_MM_DENORMALS_ZERO_ON);
#endif
}

// The same in every thread of the team that the next parallel region would get. Some runtimes give the
// control word of the calling thread to its team and take back what changes within a region, so it comes
// first.
inline void flushDenormalsInTeam() {
    flushDenormals();
#pragma omp parallel
    flushDenormals();
}

} // namespace melta
