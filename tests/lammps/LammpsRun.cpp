#include "lammps/LammpsRun.hpp"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iomanip>
#include <sstream>
#include <sys/wait.h>

namespace melta::test {
namespace {

int statusOf(const std::string& command) {
    const int status = std::system(command.c_str());
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

std::vector<double> numbersOf(const std::string& line) {
    std::istringstream stream(line);
    std::vector<double> numbers;
    for (double number = 0.0; stream >> number;) {
        numbers.push_back(number);
    }
    return numbers;
}

} // namespace

bool LammpsRun::isThere(const std::string& name) {
    return statusOf("command -v '" + name + "' > /dev/null 2>&1") == 0;
}

LammpsRun::Outcome LammpsRun::run() const {
    writeTextFile("cell.data", dataText());
    writeTextFile("in.lammps", inputText());
    std::remove("dump.text");
    std::string command = "OMP_NUM_THREADS=1 ";
    if (numRanks > 1) {
        command += "OMPI_ALLOW_RUN_AS_ROOT=1 OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1 mpirun --oversubscribe -np " +
                   std::to_string(numRanks) + " ";
    }
    Outcome outcome;
    outcome.status = statusOf(command + "'" + program + "' -in in.lammps > output.text 2>&1");
    outcome.output = readTextFile("output.text");
    if (outcome.status == 0) {
        outcome.result = readResult(outcome.output);
    }
    return outcome;
}

std::string LammpsRun::dataText() const {
    const auto& c = cell.cell;
    std::ostringstream text;
    text << std::setprecision(17) << "a cell\n\n"
         << cell.labels.size() << " atoms\n"
         << types.size() << " atom types\n0 " << c[0] << " xlo xhi\n0 " << c[4] << " ylo yhi\n0 " << c[8]
         << " zlo zhi\n";
    if (c[3] != 0.0 || c[6] != 0.0 || c[7] != 0.0) {
        text << c[3] << " " << c[6] << " " << c[7] << " xy xz yz\n";
    }
    text << "\nMasses\n\n";
    for (std::size_t t = 1; t <= types.size(); ++t) {
        text << t << " 20.0\n";
    }
    text << "\nAtoms # atomic\n\n";
    for (std::size_t i = 0; i < cell.labels.size(); ++i) {
        text << i + 1 << " " << std::ranges::find(types, cell.labels[i]) - types.begin() + 1;
        for (std::size_t k = 0; k < 3; ++k) {
            text << " " << cell.positions[3 * i + k];
        }
        text << "\n";
    }
    return text.str();
}

std::string LammpsRun::inputText() const {
    return unitsLines + "\nbox tilt large\nread_data cell.data\n" + potentialLines +
           "\nneighbor 0.6 bin\n"
           "compute energies all pe/atom pair\n"
           "compute virials all stress/atom NULL pair\n"
           "dump results all custom 1 dump.text id fx fy fz c_energies c_virials[*]\n"
           "dump_modify results sort id format float %.15g\n"
           "thermo_style custom step pe vol pxx pyy pzz pxy pxz pyz\n"
           "thermo_modify format float %.15g norm no\n"
           "run 0\n";
}

HostResult LammpsRun::readResult(const std::string& output) const {
    HostResult result;
    const std::size_t head = output.find("Pxx");
    const std::size_t line = head == std::string::npos ? head : output.find('\n', head);
    const auto totals = numbersOf(
        line == std::string::npos ? "" : output.substr(line + 1, output.find('\n', line + 1) - line));
    if (totals.size() != 9) {
        return result;
    }
    result.energy = totals[1] / electronVolt;
    for (std::size_t k = 0; k < 6; ++k) {
        result.virial[k] = totals[3 + k] * totals[2] / pressureUnit / electronVolt;
    }
    std::istringstream dump(readTextFile("dump.text"));
    for (std::string text; std::getline(dump, text);) {
        const auto row = numbersOf(text);
        if (row.size() == 11) {
            result.energies.push_back(row[4] / electronVolt);
            for (std::size_t c = 1; c <= 3; ++c) {
                result.forces.push_back(row[c] / electronVolt);
            }
            for (std::size_t k = 5; k < 11; ++k) {
                result.virials.push_back(-row[k] / pressureUnit / electronVolt);
            }
        }
    }
    return result;
}

} // namespace melta::test
