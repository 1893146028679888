#pragma once

#include "sampling/MetropolisInput.hpp"

#include <string>

namespace melta {

class Property;

// Metropolis Monte Carlo on the potential of the trained networks, in search of geometries that the training
// data do not cover.
class NNMetropolis {
public:
    const Property* const property; // settings of the run, borrowed
    MetropolisInput input;          // settings of the walk and what is moved

    // Stops with "property is null.".
    explicit NNMetropolis(const Property* property);
    virtual ~NNMetropolis() = default;
    NNMetropolis(const NNMetropolis&) = delete;
    NNMetropolis& operator=(const NNMetropolis&) = delete;
    NNMetropolis(NNMetropolis&&) = delete;
    NNMetropolis& operator=(NNMetropolis&&) = delete;

    // Writes an input file with the present settings and the first geometry of `trainFile`, over an existing
    // one. Without `overwrite` a file that is there stays. Stops as GeometrySet::readFirstGeometry and
    // writeMetropolisTemplate.
    void writeTemplate(const std::string& metroFile, const std::string& trainFile, bool overwrite) const;

    // Reads the input file, once for each object, and prints the summary. Writes the file first if it is not
    // there, and leaves the start of the walk in the file ".metropolis.geom" of the working directory. Stops
    // as writeTemplate and MetropolisReader.
    void readMetropolisFile(const std::string& metroFile, const std::string& trainFile,
                            const std::string& gdistFile);
};

} // namespace melta
