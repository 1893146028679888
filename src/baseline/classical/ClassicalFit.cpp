#include "baseline/classical/ClassicalFit.hpp"

#include "base/Interrupt.hpp"
#include "base/RandomSource.hpp"
#include "base/Reporting.hpp"
#include "baseline/classical/ClassicalFile.hpp"
#include "baseline/classical/ClassicalPot.hpp"
#include "baseline/classical/ClassicalSigns.hpp"
#include "config/Property.hpp"
#include "structure/GeometrySet.hpp"

#include <algorithm>
#include <numeric>

namespace melta {
namespace {

constexpr float startA = 10000.0f;

bool isTrue(unsigned char value) {
    return value != 0;
}

} // namespace

ClassicalFit::ClassicalFit(ClassicalPot* ofFit, const GeometrySet* ofData, const Property* ofRun)
    : pot(ofFit), geometrySet(ofData), property(ofRun), validPairs(ofFit->parameters.numPairs(), 1),
      lastValidPairs(validPairs), nullPairs(validPairs.size(), 0) {}

void ClassicalFit::run(const std::string& fileName, const std::string& stopFileName) {
    timers.wall.start();
    timers.epoch.start();
    printOut("  * L-BFGS optimizer is used.\n\n");
    printOut("  * Full-batch algorithm is used.\n\n");
    if (geometrySet->numElems < 1) {
        stopWithMessage("number of elements is not positive.");
    }
    if (geometrySet->numGeoms < 1) {
        stopWithMessage("number of geometries is not positive.");
    }
    const auto geometries = shuffleGeometries();
    setStart(fileName);
    printOut("  Classical Potential's Optimization:\n\n");
    flushOut();
    const StopFile stopFile(stopFileName);
    if (isRootProcess() && (stopFile.consume() || isInterrupted())) {
        status = FitStatus::exitedByUser;
        printStatus(); // nothing has been fitted that could be stored
    } else {
        ClassicalLoss loss(geometries, pot->getCutoff(), pot->parameters.numElems(), property);
        ClassicalOptimizer optimizer(&pot->parameters, property, &loss, pot->getCutoff(), stopFile, &timers);
        runTries(optimizer);
        printStatus();
        storeResult();
    }
    timers.wall.stop();
    printOut("  * Wall time: %s.\n\n", timers.wall.getFullTime().c_str());
}

void ClassicalFit::storeResult() const {
    printPairs(false);
    if (!pot->parameters.isFinite()) {
        stopWithMessage("the training diverged: parameters of the potential");
    }
    pot->storeParameters();
    pot->printCsv();
}

// Shuffled, the geometries of all sizes are spread evenly over the threads.
std::vector<const Geometry*> ClassicalFit::shuffleGeometries() const {
    std::vector<int> order(static_cast<std::size_t>(geometrySet->numGeoms));
    std::iota(order.begin(), order.end(), 0);
    sharedRandom().shuffle(order);
    std::vector<const Geometry*> geometries;
    for (const int index : order) {
        geometries.push_back(&geometrySet->getGeometry(index));
    }
    return geometries;
}

void ClassicalFit::setStart(const std::string& fileName) {
    pot->parameters.reset(startA);
    if (property->restart != 0) {
        flushOut();
        pot->restoreParametersIfPresent(fileName);
    }
}

void ClassicalFit::runTries(ClassicalOptimizer& optimizer) {
    for (int attempt = 0;; ++attempt) {
        status = optimizer.runLBFGS();
        if (status == FitStatus::exitedByUser || isAccepted()) {
            return;
        }
        if (attempt >= property->classicalTry - 1) {
            status = FitStatus::notConverged;
            return;
        }
        printOut("\n");
        printPairs(true);
        if (restartAll) {
            drawParameters();
        } else {
            repairPairs();
        }
        printOut("  * Try to optimize again (%d).\n\n", attempt + 1);
        flushOut();
        timers.epoch.reset();
        timers.epoch.start();
    }
}

// Whether the try is the last one; otherwise sets how to go on.
bool ClassicalFit::isAccepted() {
    restartAll = true;
    if (status != FitStatus::converged) {
        return false;
    }
    checkPairs();
    if (std::ranges::all_of(nullPairs, isTrue)) {
        return false;
    }
    restartAll = false;
    if (std::ranges::all_of(validPairs, isTrue)) {
        return true;
    }
    // The same pairs failed twice: that is what the data want. After the first try none has failed before.
    return validPairs == lastValidPairs;
}

void ClassicalFit::checkPairs() {
    for (std::size_t pair = 0; pair < validPairs.size(); ++pair) {
        const auto coefs = pot->parameters.coefsOf(pair);
        validPairs[pair] = hasValidSigns(coefs) ? 1 : 0;
        nullPairs[pair] = isNullPair(coefs) ? 1 : 0;
    }
}

void ClassicalFit::drawParameters() {
    constexpr float step = 0.30517578125f; // from 0 to 10000 in 32768 steps
    RandomSource& random = sharedRandom();
    pot->parameters.reset(0.0f);
    for (float& a : pot->parameters.coefA) {
        a = static_cast<float>(random.draw()) * step;
        // Draws for B, C and D, which start at zero all the same.
        for (int unused = 0; unused < 3; ++unused) {
            random.draw();
        }
    }
    std::ranges::fill(lastValidPairs, 1);
}

void ClassicalFit::repairPairs() {
    ClassicalParameters& parameters = pot->parameters;
    lastValidPairs = validPairs;
    for (std::size_t pair = 0; pair < validPairs.size(); ++pair) {
        if (validPairs[pair] != 0) {
            continue;
        }
        const auto coefs = repairSigns(parameters.coefsOf(pair));
        parameters.coefA[pair] = coefs[0];
        parameters.coefB[pair] = coefs[1];
        parameters.coefC[pair] = coefs[2];
        parameters.coefD[pair] = coefs[3];
    }
}

void ClassicalFit::printPairs(bool withMarks) const {
    if (!isRootProcess()) {
        return;
    }
    printOut("  Lennard-Jones-like Potential:\n\n");
    forEachPairRow(pot->parameters.numElems(), [&](std::size_t i, std::size_t j) {
        const std::size_t pair = pairIndexOf(i, j);
        const auto [a, b, c, d] = pot->parameters.coefsOf(pair);
        const bool isMarked = withMarks && validPairs[pair] == 0;
        printOut("      %-6s %-6s :   %+.3e /r^12  %+.3e /r^10  %+.3e /r^8  %+.3e /r^6%s\n",
                 geometrySet->getElementName(static_cast<int>(i)).c_str(),
                 geometrySet->getElementName(static_cast<int>(j)).c_str(), static_cast<double>(a),
                 static_cast<double>(b), static_cast<double>(c), static_cast<double>(d),
                 isMarked ? "  [ERROR]" : "");
    });
    printOut("\n");
    flushOut();
}

void ClassicalFit::printStatus() const {
    switch (status) {
    case FitStatus::notConverged:
        printOut("\n  NOT converged.\n\n");
        break;
    case FitStatus::converged:
        printOut("\n  Converged.\n\n");
        break;
    case FitStatus::allEpochsDone:
        printOut("\n  All epochs have been done.\n\n");
        break;
    case FitStatus::illegalValues:
        printOut("\n  There are Illegal values.\n\n");
        break;
    case FitStatus::exitedByUser:
        printOut("\n  Exited by user.\n\n");
        break;
    }
    flushOut();
}

} // namespace melta
