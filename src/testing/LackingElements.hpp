#pragma once

namespace melta {

class GeometrySet;
struct ModelData;

// Names on the console each element of the set that the restored model lacks, with the first geometry that
// has it: the first use of the model stops then, and its message names nothing.
void tellLackingElements(const ModelData& model, const GeometrySet& geometrySet);

} // namespace melta
