#pragma once

#include "baseline/classical/ClassicalOptimizer.hpp"

#include <string>
#include <vector>

namespace melta {

class ClassicalPot;
class Geometry;
class GeometrySet;
class Property;

// The fit of the Lennard-Jones-like potential to the total energies and forces of a set. The loss has many
// minima, so that a try that ends elsewhere than in a physically sensible one is followed by another: from
// random parameters, or from those found with the signs of the coefficients repaired. All arguments are
// borrowed.
class ClassicalFit {
public:
    ClassicalFit(ClassicalPot* ofFit, const GeometrySet* ofData, const Property* ofRun);

    // The whole run, with its report. A request to end that comes before the first iteration ends it without
    // a result. Stops as ClassicalPot::optimizeParameters.
    void run(const std::string& fileName, const std::string& stopFileName);

private:
    std::vector<const Geometry*> shuffleGeometries() const;
    void setStart(const std::string& fileName);
    void runTries(ClassicalOptimizer& optimizer);
    bool isAccepted();
    void checkPairs();
    void drawParameters();
    void repairPairs();
    void printPairs(bool withMarks) const;
    void printStatus() const;
    void storeResult() const;

    ClassicalPot* pot;
    const GeometrySet* geometrySet;
    const Property* property;
    FitTimers timers;
    FitStatus status = FitStatus::notConverged;
    bool restartAll = false;                   // the next try starts from random parameters
    std::vector<unsigned char> validPairs;     // [pairs], the signs make sense: of the last check
    std::vector<unsigned char> lastValidPairs; // the same of the try before
    std::vector<unsigned char> nullPairs;      // [pairs], there is nothing but A
};

} // namespace melta
