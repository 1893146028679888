#pragma once

namespace melta {

class GeometrySet;
class NNArch;

// Names on the console each element of the set that the restored networks lack, with the first geometry that
// has it: the first use of the networks stops then, and its message names nothing.
void tellLackingElements(const NNArch& arch, const GeometrySet& geometrySet);

} // namespace melta
