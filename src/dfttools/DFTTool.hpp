#pragma once

#include "dfttools/DFTAtoms.hpp"
#include "dfttools/DFTDialogue.hpp"
#include "dfttools/DFTTemplate.hpp"

#include <string>
#include <utility>
#include <vector>

namespace melta {

// Writes the calculations that produce reference data: input files "dft_inp/inp.1", "dft_inp/inp.2", ... of
// Quantum ESPRESSO and the scripts "dft_run.bat" and "dft_run.sh", which run them all and gather their data.
// The input files follow a template. Their configurations are the atoms of the template, displaced at random,
// or the geometries "dft_geom/geom.1", ... of the Metropolis walk.
//
// Input files of an earlier run with higher numbers stay; it is said how many there are. The scripts replace
// the data file: where there is one already, a copy of it is kept first (KeptCopy.hpp).
//
// A dialogue on the console: what goes wrong is told in plain messages, and then the tool just returns and
// leaves what has been written so far. It stops only as readDFTTemplate and keepCopy do, and with "cannot
// read file: %s" and "cannot write file: %s" where a medium refuses.
class DFTTool {
public:
    DFTTool() = default;
    explicit DFTTool(std::string templateFile) : fileInput(std::move(templateFile)) {}
    virtual ~DFTTool() = default;
    DFTTool(const DFTTool&) = default;
    DFTTool& operator=(const DFTTool&) = default;
    DFTTool(DFTTool&&) = default;
    DFTTool& operator=(DFTTool&&) = default;

    // The whole dialogue. The scripts will gather the data in `fileTrain` or `fileTest`, as the user says.
    void generateJobs(const std::string& fileTrain, const std::string& fileTest);

private:
    void chooseSource();
    bool readTemplate();
    bool writeInputs() const;
    bool writeInput(int number) const;
    void writeScripts(const std::string& dataFile) const;

    bool useMetropolis = false; // the configurations come from the Metropolis walk
    std::string fileInput;      // template; if empty, the console is asked for it
    DFTTemplate lines;          // of the template
    std::vector<DFTAtom> atoms; // of the template; empty with `useMetropolis`
    DFTJobs jobs;               // what the user wants
};

} // namespace melta
