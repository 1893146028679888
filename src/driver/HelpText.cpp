#include "driver/HelpText.hpp"

#include "base/Reporting.hpp"

namespace melta {
namespace {

constexpr const char* helpText = R"(
COMMAND:
  melta [OPTION] [ARGUMENT]

OPTION:
  --omp [NUMBER OF THREADS]
    you can set the number of threads for OpenMP parallelization.

ARGUMENT:
  --train-energy
    training the neural network of ENERGY.
    you have to prepare the properties file "melta.prop" and
    the file "melta.behler" where Behler's symmetry functions are defined.

  --train-charge
    training the neural network of CHARGE.
    you have to prepare the properties file "melta.prop" and
    the file "melta.behler" where Behler's symmetry functions are defined.
    in the properties file, "withCharge" has to be 1.

  --train
    this is same as "--train-energy".

  --stop
    to stop training the neural network.

  --test-with-bias
    testing the neural network, while the bias of the last layer is involved for energy.
    before testing, you have to train the neural network.

  --test-without-bias
    testing the neural network, while the bias of the last layer is NOT involved for energy.
    before testing, you have to train the neural network.

  --test
    this is same as "--test-without-bias".

  --template
    generating the template of the properties file.

  --behler
    generating the template of the Behler file.

  --export
    to export the file "ffield.melta" where the trained data of
    the neural networks are. it is used by LAMMPS.

  --dft
    to generate the input data for DFT calculations,
    which will be executed by Quantum ESPRESSO.

  --split
    to split the training data into new training and testing data.

  --metro
    calculating Metropolis method with the trained neural network,
    to generate many geometries as input files of Quantum ESPRESSO.
    this is suitable for reinforcement learning.

  --metro-temp
    generating the template of the Metropolis file.

  --classical
    optimizing the classical potential with the training data.
    the potential is Lennard-Jones-like: A/r^12 + B/r^10 + C/r^8 + D/r^6.
    you have to prepare the properties file "melta.prop".

)";

} // namespace

void printHelp() {
    printOut("%s", helpText);
}

} // namespace melta
