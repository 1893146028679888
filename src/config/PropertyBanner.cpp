#include "config/BannerLine.hpp"
#include "config/BaselineKind.hpp"
#include "config/NetworkFields.hpp"
#include "config/SymmFuncKind.hpp"
#include "config/Version.hpp"

#include <omp.h>

namespace melta {
namespace {

void printBlock(const BannerBlock& block) {
    for (const BannerLine& line : block) {
        if (line.label.empty()) {
            printOut("\n");
        } else {
            printOut("  %s%s\n", line.label.c_str(), line.value.c_str());
        }
    }
}

void printClosedBlock(const BannerBlock& block) {
    printBlock(block);
    printOut("\n");
}

BannerBlock makeHeadBlock() {
    return {
        {"Melta Neural Network Potential (MELTA); Ver.", versionText},
        {"-----------------------------------------------------", ""},
        {"                           < using SINGLE PRECISION >", ""},
        {"                                     < using OpenMP >", ""},
    };
}

BannerBlock makeModeBlock(bool testing) {
    if (testing) {
        return {{"This is Testing Mode.", ""}, {"        ^^^^^^^", ""}};
    }
    return {{"This is Training Mode.", ""}, {"        ^^^^^^^^", ""}};
}

BannerBlock makeParallelBlock() {
    return {
        {"Parallel:", ""},
        {"  #Processes of MPI               = ", std::to_string(numProcesses())},
        {"  #Threads of OpenMP, per Process = ", std::to_string(omp_get_max_threads())},
    };
}

std::string titleText(std::span<const CodeName> names, int code) {
    const CodeName* const name = findCode(names, code);
    return name != nullptr ? name->title : "???";
}

std::string activationText(int activ) {
    const std::string title = titleText(activationNames, activ);
    if (activ == Activation::twtanh) {
        return title + formatText(" : tanh(x) + %.2f * x", static_cast<double>(twistedTanhSlope));
    }
    return title;
}

BannerBlock makeNetworkBlock(const Property& property, const char* heading, const NetworkFields& fields) {
    return {
        {heading, ""},
        {"  Number of Models    = ", std::to_string(property.*fields.models)},
        {"  Number of Layers    = ", std::to_string(property.*fields.layers)},
        {"  Number of Nodes     = ", std::to_string(property.*fields.nodes)},
        {"  Activation Func.    = ", activationText(property.*fields.activ)},
    };
}

BannerBlock makePotentialLines(const Property& property) {
    BannerBlock lines = {{"  With Atomic Charge  = ", yesNoText(property.withCharge)}};
    for (const BaselineKind* const kind : baselineKinds()) {
        const BannerBlock ofKind = kind->bannerLines(property);
        lines.insert(lines.end(), ofKind.begin(), ofKind.end());
    }
    return lines;
}

std::string autoText(int number) {
    return number < 1 ? "Auto" : std::to_string(number);
}

BannerBlock makeEpochLines(const Property& property) {
    return {
        {"  Size of Mini-batch  = ", autoText(property.batchs)},
        {"  Maximum Epochs      = ", std::to_string(property.epochs)},
        {"  Maximum SuperEpochs = ", autoText(property.superEpochs)},
        {"  #Geoms a SuperEpoch = ", autoText(property.geomsEpoch)},
    };
}

// Only where it is not what all trainings were once.
BannerBlock makeScaleLines(const Property& property) {
    if (!scalesEachFunction(property)) {
        return {};
    }
    return {{"  Scale of Inputs     = ", titleText(symmScaleNames, SymmScale::each)}};
}

BannerBlock makeTargetLines(const Property& property, bool chargeMode) {
    if (chargeMode) {
        return {
            {"  RMSE of Charge      = ", exponentText(property.rmseCharge, " e")},
            {"  Training Algorithm  = ", "MELTA"},
        };
    }
    return {
        {"  RMSE of Energy      = ", exponentText(property.rmseEnergy, " eV")},
        {"  RMSE of Force       = ", exponentText(property.rmseForce, " eV/Angstrom")},
        {"  Training Algorithm  = ", property.withHDNNP != 0 ? "HDNNP" : "MELTA"},
    };
}

// Units of the mixing rates, which make the terms of the loss dimensionless. Renormalised terms are free of
// energy and charge units already.
struct RateUnits {
    const char* energy;
    const char* force;
    const char* charge;
};

RateUnits findRateUnits(const Property& property) {
    if (property.renormLoss != 0) {
        return {"", property.sqrtLoss != 0 ? " Angstrom" : " Angstrom^2", ""};
    }
    if (property.sqrtLoss != 0) {
        return {" eV^-1", " Angstrom/eV", " e^-1"};
    }
    return {" eV^-2", " (Angstrom/eV)^2", " e^-2"};
}

// A weight, with its end where it moves.
std::string movingText(const Property& property, float first, float last, const char* unit) {
    if (property.lbfgs >= 1 || last <= 0.0f) {
        return longText(first, unit);
    }
    return longText(first, " -> ") + longText(last, unit);
}

BannerBlock makeRateLines(const Property& property, bool chargeMode) {
    const RateUnits units = findRateUnits(property);
    if (chargeMode) {
        return {{"  Charge Mixing Rate  = ", longText(property.coefCharge, units.charge)}};
    }
    BannerBlock lines = {
        {"  Energy Mixing Rate  = ",
         movingText(property, property.coefEnergy, property.coefEnergyFinal, units.energy)},
        {"  Force Mixing Rate   = ", longText(property.coefForce, units.force)},
    };
    if (property.hasStressCoef != 0) {
        lines.push_back({"  Stress Mixing Rate  = ",
                         movingText(property, property.coefStress, property.coefStressFinal, units.energy)});
    }
    return lines;
}

BannerBlock makeOptimiserLines(const Property& property) {
    if (property.lbfgs < 1) {
        return {
            {"  Optimizer for NN    = ", "Adam"},
            {"  Adam's Beta1        = ", longText(property.adamBeta1)},
            {"  Adam's Beta2        = ", longText(property.adamBeta2)},
            {"  Learning Rate       = ",
             exponentText(property.learnRate, " -> ") + exponentText(property.learnRateFinal)},
            property.learnRateSchedule == LearnRateSchedule::decay
                ? BannerLine{"  Decay Coef. of LR   = ", longText(property.learnRateDecay)}
                : BannerLine{"  Schedule of LR      = ",
                             titleText(learnRateScheduleNames, property.learnRateSchedule)},
        };
    }
    return {
        {"  Optimizer for NN    = ", "L-BFGS"},
        {"  L-BFGS's Dimension  = ", std::to_string(property.lbfgs)},
        {"  Line Search Method  = ", titleText(lineSearchNames, property.lineSearch)},
        {"  Line Search #Steps  = ", std::to_string(property.lineSteps)},
    };
}

BannerBlock makeKeepLines(const Property& property) {
    if (property.keepBest == 0) {
        return {};
    }
    return {{"  Networks to Keep    = ",
             property.insituValid != 0 ? "Best of validation data" : "Best of testing data"}};
}

void printTrainingItems(const Property& property, bool chargeMode) {
    printBlock(makeScaleLines(property));
    printBlock(makeEpochLines(property));
    printBlock(makeTargetLines(property, chargeMode));
    printBlock(makeRateLines(property, chargeMode));
    printBlock(makeOptimiserLines(property));
    printClosedBlock(makeKeepLines(property));
    printClosedBlock({{energyDecompositionCitation, ""}});
}

} // namespace

void Property::printBanner(bool testing, bool chargeMode) const {
    printClosedBlock(makeHeadBlock());
    printClosedBlock(makeModeBlock(testing));
    printClosedBlock(makeParallelBlock());
    if (const SymmFuncKind* const kind = findSymmFuncKind(symmFuncKind)) {
        printClosedBlock(kind->bannerBlock(*this, formatText("Symmetry Function (%s", kind->getTitle())));
    }
    if (testing || !chargeMode) {
        printBlock(makeNetworkBlock(*this, "Neural Network for Energy:", energyNetwork));
        printBlock(makePotentialLines(*this));
        printOut("%s", testing ? "\n" : "");
    }
    if (chargeMode || (testing && withCharge != 0)) {
        printBlock(makeNetworkBlock(*this, "Neural Network for Charge:", chargeNetwork));
        printOut("%s", testing ? "\n" : "");
    }
    if (!testing) {
        printTrainingItems(*this, chargeMode);
    }
}

} // namespace melta
