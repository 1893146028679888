#pragma once

#include "config/Codes.hpp"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace melta {

// All settings of a run. They are filled in three layers: the constructor sets the defaults, peekData copies
// what an existing network file says about the model, and readProperty applies the properties file on top.
// Afterwards they are only read, by every thread. Owned by the mode that runs; everybody else borrows it.
class Property {
public:
    Property() = default;

    // The settings of the fit of the Lennard-Jones-like potential, which L-BFGS alone can do: with
    // `forceLbfgs` the key "lbfgs" cannot select Adam, and the line search starts as wolfe.
    explicit Property(bool withForcedLbfgs);

    Property(const Property&) = default;
    Property(Property&&) = default;
    Property& operator=(const Property&) = default;
    Property& operator=(Property&&) = default;
    virtual ~Property() = default;

    // Takes the settings of the model from the head of a network file. When the file cannot be opened, or a
    // line is missing or unreadable, it stops with "cannot peek file: %s"; with `tolerant` it returns instead
    // and keeps what the lines before have said. Without `tolerant` it prints the banner of a testing run.
    // A replacement of the model's files that a kill has cut short is finished first.
    void peekData(const std::string& fileName, bool tolerant);

    // Applies the keys of the properties file, checks the settings against each other, reads the Behler
    // functions if they are chosen, and prints the banner of a training run. A missing file is first written
    // as a template. With `chargeMode` the keys "models", "layers", "nodes" and "activ" mean the charge
    // network, else the energy network. Stops with a message that names the key or the file when something is
    // wrong; the tables of keys say which.
    void readProperty(const std::string& fileName, const std::string& behlerFileName, bool chargeMode);

    // Writes a properties file with the current settings. Without `overwrite` an existing file stays as it
    // is. Stops with "cannot open file: %s" if it cannot be written.
    void writeTemplate(const std::string& fileName, bool chargeMode, bool overwrite) const;

    // Takes the Behler functions and their cutoffs from a file. A missing file is first written, as a grid of
    // functions with the present counts (one G3 for two angular functions) and cutoffs. Stops with
    // "cannot open file: %s", "you can set G3/G4 only once.", with a message about the section whose line is
    // unreadable, not finite or out of range, such as "cannot read G2: %s", and with "there are no G2
    // functions: %s", "Rcut for radius is not positive: %s" or "Rcut for angle is not positive: %s".
    void readBehlerFile(const std::string& fileName);

    // Tells on the console what the run is going to do.
    void printBanner(bool testing, bool chargeMode) const;

    // Data of the run.
    int restart = 0;        // non-zero: training starts from the network file
    int insituTest = 0;     // non-zero: training also reads the test data
    int insituValid = 0;    // non-zero: training reads the validation data in place of the test data
    int directSF = -1;      // mini-batches recompute (1) or keep (0) symmetry functions; -1: automatic
    int regularElem = 1;    // non-zero: element labels are reduced to symbols
    float maxForce = 10.0f; // geometries with a larger force are left out, eV/Angstrom; 0 or less: none is
    float minEDev = 0.5f;   // lower limit of the deviation of an element's energies, eV
    float maxEDev = 10.0f;  // upper limit of the same
    float minQDev = 0.1f;   // lower limit of the deviation of an element's charges, e
    float maxQDev = 10.0f;  // upper limit of the same

    // Symmetry functions.
    int symmFuncKind = 3;    // code of a SymmFuncKind; 3 are Chebyshev functions
    int elemWeight = 1;      // non-zero: weighted by element
    int tanhCutoff = 1;      // non-zero: tanh3 cutoff, zero: cosine cutoff
    int m2 = 100;            // many-body radial size
    int m3 = 10;             // many-body angular size
    float rinner = 0.0f;     // many-body inner radius, Angstrom
    float router = 6.0f;     // many-body outer radius, Angstrom
    int numRadius = 50;      // number of radial functions
    int numAngle = 30;       // number of angular functions; for Behler without the factor 2 of lambda
    float rcutRadius = 6.0f; // radial cutoff, Angstrom
    float rcutAngle = 6.0f;  // angular cutoff, Angstrom; 0 without angular functions
    int symmScale = SymmScale::byKind; // a SymmScale
    int storeDerivatives = 0;          // non-zero: derivatives are kept even where trainings can do without
    int behlerG4 = 0;                  // 1: the angular Behler functions are G4, 0: G3

    // Parameters of the Behler functions.
    std::vector<float> radiusEta;   // eta of G2 [numRadius], 1/Angstrom^2
    std::vector<float> angleEta;    // eta of G3 or G4 [numAngle], 1/Angstrom^2
    std::vector<float> radiusShift; // Rs of G2 [numRadius], Angstrom
    std::vector<float> angleShift;  // Rs of G3 or G4 [numAngle], Angstrom
    std::vector<float> angleZeta;   // zeta of G3 or G4 [numAngle]

    // Settings of kinds of symmetry functions that have no field here, by key; what is not there has the
    // default of its kind.
    std::map<std::string, double, std::less<>> kindSettings;

    // Networks.
    int modelsEnergy = 16;                // size of the ensemble
    int layersEnergy = 2;                 // hidden layers
    int nodesEnergy = 40;                 // nodes of a hidden layer
    int activEnergy = Activation::twtanh; // an Activation
    int modelsCharge = 16;                // the same for the charge network
    int layersCharge = 2;
    int nodesCharge = 40;
    int activCharge = Activation::twtanh;

    // Optimisation.
    bool forceLbfgs = false;                  // L-BFGS cannot be switched off
    int lbfgs = 32;                           // history length of L-BFGS; 0 selects Adam
    int lineSearch = LineSearch::moreThuente; // a LineSearch
    int lineSteps = 32;                       // maximum steps of the line search
    int batchs = 0;                           // size of a mini-batch; below 1: automatic
    int epochs = 500;                         // maximum epochs
    int epochsStore = 1000;                   // epochs between stored networks
    int minutesStore = 10;                    // minutes between them; below 1: never by the clock
    int epochsOnlyE = 250;                    // first epochs with energy only
    int epochsApproxF = 500;                  // epochs with approximated forces
    int superEpochs = 0;                      // maximum super epochs; below 1: automatic
    int geomsEpoch = 500;                     // geometries in a super epoch; below 1: automatic
    int sqrtLoss = 0;                         // non-zero: root of the squared loss terms
    int renormLoss = 0;                       // non-zero: loss renormalised by the target accuracies
    int withCharge = 0;                       // non-zero: atomic charges take part
    int withHDNNP = 1; // non-zero: total energies are the target, zero: atomic energies

    // Physical baselines; readProperty refuses both together.
    int withClassical = 0;   // non-zero: the Lennard-Jones-like potential is on
    int withReaxFF = 0;      // non-zero: the ReaxFF potential is on
    float rcutReaxFF = 5.0f; // ReaxFF cutoff, Angstrom
    float rateReaxFF = 0.5f; // ReaxFF mixing rate

    // Loss and targets.
    int hasEnergyCoef = 1;    // 1: coefEnergy is effective, 0: it is zero
    int hasForceCoef = 1;     // the same for coefForce
    int hasChargeCoef = 1;    // the same for coefCharge
    int hasStressCoef = 0;    // the same for coefStress
    int givesStressCoef = 0;  // non-zero: the user has chosen coefStress, also where it is zero
    int approxForce = 0;      // non-zero: forces approximated in training
    float rmseEnergy = 0.01f; // convergence target, eV
    float rmseForce = 0.1f;   // convergence target, eV/Angstrom
    float rmseCharge = 0.01f; // convergence target, e
    float coefEnergy = 1.0f;  // weight of the energy term
    float coefForce = 1.0f;   // weight of the force term
    float coefStress = 0.0f;  // weight of the stress term
    float coefCharge = 1.0f;  // weight of the charge term

    // Whether the loss has terms of derivatives.
    [[nodiscard]] bool hasDerivativeCoef() const { return hasForceCoef != 0 || hasStressCoef != 0; }

    // Adam.
    int coefFromData = 0;           // non-zero: weights of energies and stress follow from the data
    float learnRate = 1.0e-4f;      // first learning rate
    float learnRateFinal = 1.0e-4f; // last learning rate
    float learnRateDecay = 0.9999f; // decay factor
    float adamBeta1 = 0.9f;         // first moment
    float adamBeta2 = 0.999f;       // second moment

    // Course of a training by Adam.
    int learnRateSchedule = LearnRateSchedule::decay; // a LearnRateSchedule
    float coefStressFinal = 0.0f;                     // the same for coefStress
    float coefEnergyFinal = 0.0f;                     // coefEnergy of the last epoch; 0: it stays

    // Networks to be stored.
    int keepBest = 0; // non-zero: those with the least errors of the in-situ test, not the last ones

    // Fit of the Lennard-Jones-like potential.
    int classicalTry = 64;         // number of tries
    float classicalLower = -50.0f; // lower limit, negative

    // Accepted for the sake of existing files; nothing reads them.
    int gpuThreads = 256;
    int gpuAtomBlock = 512;
};

// Whether a training also tests its networks, on test data or on validation data.
bool hasInsituTest(const Property& property);

// Whether weights of the loss of energies move in the course of the training, which only Adam does.
bool hasMovingWeights(const Property& property);

// Largest cutoff of the symmetry functions that the settings choose, Angstrom; 0 without functions. Stops
// with "unknown symmetry function.".
float findLargestCutoff(const Property& property);

} // namespace melta
