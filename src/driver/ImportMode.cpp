#include "driver/ImportMode.hpp"

#include "base/DirectoryLock.hpp"
#include "base/Reporting.hpp"
#include "config/FileNames.hpp"
#include "dfttools/DataImporter.hpp"
#include "structure/io/ExtxyzSource.hpp"

namespace melta {
namespace {

void printCounts(const ImportCounts& counts, int numPassed) {
    printOut("  Import:\n\n");
    printOut("    Number of Geometries     = %d\n", counts.geometries);
    printOut("    Number of Atoms          = %lld\n", counts.atoms);
    printOut("    with Atomic Energies     = %d\n", counts.withAtomEnergy);
    printOut("    with Stress              = %d\n", counts.withStress);
    printOut("    without Energy or Forces = %d%s\n\n", numPassed, numPassed > 0 ? ", left out" : "");
}

} // namespace

void runImport(std::span<const std::string> words) {
    const DirectoryLock lock;
    if (words.size() < 2) {
        stopWithMessage("the name of an extended XYZ file is missing.");
    }
    requireNoDataFile(fileNames::train);
    ExtxyzSource source(words[1]);
    printOut("\n  * Import geometries of the file: %s.\n\n", words[1].c_str());
    flushOut();
    const ImportCounts counts = importStructures(source, words[1], fileNames::train);
    printCounts(counts, source.getNumPassed());
    printOut("  * Generate the file: %s.\n\n", fileNames::train);
}

} // namespace melta
