#include "sampling/NNMetropolis.hpp"

#include "base/Interrupt.hpp"
#include "base/LineReader.hpp"
#include "base/MyTimer.hpp"
#include "base/RandomSource.hpp"
#include "base/Reporting.hpp"
#include "baseline/BaselineRemover.hpp"
#include "config/FileNames.hpp"
#include "config/Property.hpp"
#include "potential/ModelRestorer.hpp"
#include "sampling/GeometryWriter.hpp"
#include "sampling/InitialShift.hpp"
#include "sampling/MetropolisMoves.hpp"
#include "sampling/MetropolisReader.hpp"
#include "sampling/MetropolisSummary.hpp"
#include "sampling/MetropolisTemplate.hpp"
#include "sampling/MonteCarloWalk.hpp"
#include "sampling/NetworkEnergy.hpp"
#include "sampling/WalkReport.hpp"
#include "structure/GeometrySet.hpp"

#include <filesystem>
#include <numeric>
#include <vector>

namespace melta {

NNMetropolis::NNMetropolis(const Property* settings) : property(settings) {
    if (property == nullptr) {
        stopWithMessage("property is null.");
    }
}

NNMetropolis::~NNMetropolis() = default;

void NNMetropolis::writeTemplate(const std::string& metroFile, const std::string& trainFile,
                                 bool overwrite) const {
    if (!overwrite && LineReader(metroFile).isOpen()) {
        return;
    }
    constexpr bool withCharge = false;
    GeometrySet set;
    set.readFirstGeometry(trainFile, withCharge);
    writeMetropolisTemplate(metroFile, input, set);
}

void NNMetropolis::readMetropolisFile(const std::string& metroFile, const std::string& trainFile,
                                      const std::string& gdistFile) {
    constexpr bool overwrite = false;
    writeTemplate(metroFile, trainFile, overwrite);
    MetropolisReader(metroFile, gdistFile, fileNames::metropolisStart).read(input);
    printMetropolisSummary(input);
}

void NNMetropolis::performMonteCarlo(const std::string& networkFile, const std::string& baselineFile,
                                     const std::string& gdistFile) {
    MyTimer timer;
    timer.start();
    Geometry& geometry = prepareGeometry();
    MetropolisMoves moves(input, geometry, sharedRandom());
    constexpr bool withCharges = false;
    const auto model = restoreModel(*property, *geometrySet, networkFile, withCharges);
    const auto baseline = makeBaseline(geometrySet.get(), property, baselineFile);
    restoreHistograms(*model, *geometrySet, gdistFile);
    if (property->withCharge != 0) {
        printOut("  * Electrostatic interaction (or Atomic charge) is ignored !!\n\n");
    }
    printWalkTitle(numProcesses());
    flushOut();
    walk(geometry, moves, *model, baseline.get());
    timer.stop();
    printOut("  * Wall time: %s.\n\n", timer.getFullTime().c_str());
}

Geometry& NNMetropolis::prepareGeometry() {
    geometrySet = std::make_unique<GeometrySet>();
    geometrySet->readFirstGeometry(fileNames::metropolisStart, property->withCharge != 0);
    std::error_code ignored;
    std::filesystem::remove(fileNames::metropolisStart, ignored);
    constexpr bool withShortCoulomb = false;
    constexpr int shortSummary = 2;
    geometrySet->haveReadGeometrySet(property, withShortCoulomb, {}, shortSummary);
    Geometry& geometry = geometrySet->getGeometry(0);
    if (geometry.numAtoms != input.numAtoms) {
        stopWithMessage("incorrect number of atoms.");
    }
    return geometry;
}

void NNMetropolis::walk(Geometry& geometry, MetropolisMoves& moves, const ModelData& model,
                        BaselinePotential* baseline) {
    const GeometryWriter writer(*geometrySet, input, processRank());
    writer.makeDirectories();
    if (input.withShift != 0 && input.shiftInit != 0) {
        shiftAll(geometry, moves);
    }
    NetworkEnergy energy(model, baseline, geometry, findLargestCutoff(*property));
    MonteCarloWalk chain(input, moves, energy, sharedRandom());
    chain.start();
    while (!chain.isDone() && !isInterrupted()) {
        const WalkStep& step = chain.tryMove();
        if (step.output) {
            writer.writeGeometryForDFT(geometry, chain.getNumOutput() - 1);
            writer.writeGeometryToMovie(geometry, chain.getNumOutput() - 1);
        }
        if (isRootProcess() && (step.index % 10 == 0 || chain.hasAllGeometries())) {
            printWalkStep(step, chain.getNumOutput(), input.numGeoms);
            flushOut();
        }
        chain.settle();
    }
    if (!chain.isDone()) {
        printOut("\n  Exited by user.\n");
    }
    printWalkCounts(input, chain.getAcceptedCounts(), chain.getTotalCounts());
}

void NNMetropolis::shiftAll(Geometry& geometry, const MetropolisMoves& moves) {
    std::vector<int> vacancies(static_cast<std::size_t>(input.numVacancies));
    std::iota(vacancies.begin(), vacancies.end(), 0);
    shiftInitially(moves.getMobileAtoms(), input.shiftCoordInit, geometry.positions, sharedRandom());
    shiftInitially(vacancies, input.shiftCoordInit, input.vacancyCoords, sharedRandom());
    geometry.updateAtoms(findLargestCutoff(*property));
}

} // namespace melta
