#pragma once

#include "structure/BaselineRemoval.hpp"
#include "structure/DataWarnings.hpp"
#include "structure/ElementSymbols.hpp"
#include "structure/Geometry.hpp"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace melta {

class Property;

// All geometries of one data file, with the table of the element kinds that occur in them and the statistics
// of each kind. Empty after construction; filled by one of the two readings; completed by
// haveReadGeometrySet; from then on read-only, apart from the data of its geometries.
//
// Kinds are numbered from 0 in the order of their first appearance in the file. A set with a `trainingSet`
// uses that set's table instead. The statistics arrays have one entry for each kind and are empty before
// haveReadGeometrySet.
//
// Everything here is serial on the outside; the conditioning shares the geometries among threads.
class GeometrySet {
public:
    // Most element kinds of a set, and most characters of a kind's label.
    static constexpr int maxElems = 127;
    static constexpr std::size_t maxLabelLength = 8;

    // Settings, to be given before the reading.
    float maxForce = -1.0f; // geometries with a larger force are rejected, eV/Angstrom; 0 or less: no limit
    float minEDev = 0.0f;   // lower limit of energyDev, eV
    float maxEDev = 1.0e8f; // upper limit of energyDev, eV
    float minQDev = 0.0f;   // lower limit of chargeDev, e
    float maxQDev = 1.0e8f; // upper limit of chargeDev, e
    bool withHDNNP = false; // total energies are the target, so that atomic ones are always fitted
    bool withClassical = false; // the Lennard-Jones-like baseline is taken out
    bool withReaxFF = false;    // the ReaxFF baseline is taken out
    bool withBaseline = false;  // a baseline without a field of its own is taken out
    bool regularElem = false;   // labels are reduced to symbols when they are read

    // Set whose element table and means are used instead of this set's own; borrowed, lives longer.
    const GeometrySet* trainingSet = nullptr;

    // Element table, [numElems] each.
    int numElems = 0;
    std::vector<std::string> elemNames;        // labels, up to 8 characters
    std::vector<std::int32_t> elemAtomNumbers; // atomic numbers
    std::vector<std::int32_t> elemCounts;      // atoms in the accepted geometries

    // Statistics, [numElems] each, of the data before the energies are shifted.
    std::vector<double> energyAve; // mean atomic energy, or the fitted one, eV
    std::vector<double> energyDev; // its standard deviation, within minEDev and maxEDev, eV
    std::vector<double> energyMax; // extremes of the atomic energy, eV
    std::vector<double> energyMin;
    std::vector<float> chargeAve; // mean charge, e
    std::vector<float> chargeDev; // its standard deviation, within minQDev and maxQDev, e
    std::vector<float> chargeMax; // extremes of the charge, e
    std::vector<float> chargeMin;
    std::vector<float> forceMax; // extremes of the length of the force, eV/Angstrom
    std::vector<float> forceMin;

    std::string fileName;  // the data file that was read, for messages
    DataWarnings warnings; // of the file; completed by haveReadGeometrySet in print mode 1

    int numGeoms = 0;    // accepted geometries, always the length of `geometries`
    int numRejected = 0; // geometries refused by maxForce
    std::vector<std::unique_ptr<Geometry>> geometries; // in the order of the file

    GeometrySet() = default;
    virtual ~GeometrySet() = default;
    GeometrySet(const GeometrySet&) = delete;
    GeometrySet& operator=(const GeometrySet&) = delete;
    GeometrySet(GeometrySet&&) = delete;
    GeometrySet& operator=(GeometrySet&&) = delete;

    // Reads all geometries of a file (formats: StructureFormats.hpp, failures: GeometrySetReader.hpp) and
    // refuses those with a larger force than maxForce. `withCharge`: the share carried by the charges is
    // taken out of energies and forces.
    void readGeometrySet(const std::string& ofFile, bool withCharge);

    // Reads the first geometry only, whatever its forces are.
    void readFirstGeometry(const std::string& ofFile, bool withCharge);

    // Turns raw data into training targets: neighbour lists, reference data free of the baseline potential,
    // statistics, energies measured from a mean per kind; then printGeometrySet(printMode). Once for each
    // set; does nothing for a set without geometries. `withShortCoulomb`: the short-range Coulomb term is
    // added as well. `baselineRemoval`: takes the baseline potential out; empty: none is taken out,
    // whatever the flags say. A cell that cannot be inverted is named in a line. Stops with "property is
    // null.", "error in LAPACK(dsyev).", and as Geometry::haveSetAtoms and the removal.
    void haveReadGeometrySet(const Property* property, bool withShortCoulomb,
                             const BaselineRemoval& baselineRemoval, int printMode);

    // Prints a summary: mode 0 nothing, 1 with ranges of the data and the warnings, 2 short.
    void printGeometrySet(int mode) const;

    // Whether any geometry has a reference stress.
    [[nodiscard]] bool hasStress() const;

    // Stops with "index of geometry is out of range.".
    [[nodiscard]] Geometry& getGeometry(int index) const;

    // Label of a kind, and its mean energy (eV), which is known after haveReadGeometrySet.
    // Stop with "index of element is out of range.".
    [[nodiscard]] const std::string& getElementName(int index) const;
    [[nodiscard]] double getElementEnergy(int index) const;

private:
    void readFile(const std::string& ofFile, bool withCharge, bool isFirstOnly);
    void tellUnusableCell() const;
    void prepareGeometries(std::span<const int> order, float rcut, bool withShortCoulomb);
    void findCloseAtoms(std::span<const int> order, float rcut);
    [[nodiscard]] std::vector<double> compositions() const;
    [[nodiscard]] std::vector<double> totalEnergies() const;
    void updateStatistics();
    void updateAverages();
    void updateDeviations();
    void fitAtomicEnergies();
    void shiftEnergies();
    void printElements(int mode) const;

    bool isEnergyFitted = false; // energyAve and energyDev come from the fit to total energies
};

} // namespace melta
