#pragma once

#include "sampling/MetropolisInput.hpp"

#include <memory>
#include <string>

namespace melta {

class BaselinePotential;
class Geometry;
class GeometrySet;
class MetropolisMoves;
class Property;
struct ModelData;

// Metropolis Monte Carlo on the potential of the trained networks, in search of geometries that the training
// data do not cover.
class NNMetropolis {
public:
    const Property* const property;           // settings of the run, borrowed
    MetropolisInput input;                    // settings of the walk and what is moved
    std::unique_ptr<GeometrySet> geometrySet; // the atoms; made by the walk

    // Stops with "property is null.".
    explicit NNMetropolis(const Property* property);
    virtual ~NNMetropolis();
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

    // Walks, once for each object, from what readMetropolisFile has left, and removes the file of the start.
    // Energies are those of the networks in `networkFile` and of the baseline potential, whose parameters are
    // in `baselineFile`; `gdistFile` tells what the training data cover. Leaves the geometries in the working
    // directory (GeometryWriter.hpp) and tells the steps on the console.
    //
    // Stops with "incorrect number of atoms.", and as GeometrySet::readFirstGeometry, MetropolisMoves,
    // restoreModel, makeBaseline, restoreHistograms, NetworkEnergy, MonteCarloWalk and GeometryWriter.
    void performMonteCarlo(const std::string& networkFile, const std::string& baselineFile,
                           const std::string& gdistFile);

private:
    Geometry& prepareGeometry();
    void walk(Geometry& geometry, MetropolisMoves& moves, const ModelData& model,
              BaselinePotential* baseline);
    void shiftAll(Geometry& geometry, const MetropolisMoves& moves);
};

} // namespace melta
