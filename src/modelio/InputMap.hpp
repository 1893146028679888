// Where the inputs of a first layer go when the elements change. Without `elemWeight` a layer has inputs of
// its own for each element and each pair of elements, or for many-body functions each pair of grid points of
// two elements, in the layouts of the symmetry functions.
#pragma once

#include <span>
#include <vector>

namespace melta {

class Property;

// Inputs of a layer of one set of elements, as they appear in the layer of another set.
struct InputMap {
    std::vector<int> targets; // [inputs of the source], input of the target with the same meaning, or -1
    std::vector<int> dropped; // inputs of the source that the target lacks
    std::vector<int> added;   // inputs of the target that the source lacks
};

// Inputs for that many elements, whatever `elemWeight` is; in double precision because the sizes in a file
// may make any number.
double countInputs(const Property& property, int numElems);

// `mapOfElems`: for each element of the source its index among the `numElems` elements of the target, or -1;
// no index twice. Both layouts have to fit into int.
InputMap makeInputMap(const Property& property, std::span<const int> mapOfElems, int numElems);

} // namespace melta
