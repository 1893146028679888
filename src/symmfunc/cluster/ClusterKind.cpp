#include "symmfunc/cluster/ClusterKind.hpp"

#include "base/FieldScanner.hpp"
#include "base/Reporting.hpp"
#include "config/FiniteNumber.hpp"
#include "config/HeadReader.hpp"
#include "config/HeadWriter.hpp"
#include "symmfunc/InputMap.hpp"
#include "symmfunc/RangeSettings.hpp"
#include "symmfunc/cluster/SymmFuncCluster.hpp"

#include <algorithm>
#include <array>
#include <numeric>

namespace melta {
namespace {

// Two channels tell the elements apart well enough; more of them mostly add functions.
constexpr int mostAutomaticChannels = 2;

// Smooth functions know nothing of distances that are not in the data.
constexpr const char* repulsionKey = "withZBL";

// A whole number that only this kind knows.
struct WholeSetting {
    const char* key;
    int byDefault;
};

constexpr WholeSetting maxAngular{"maxAngular", 4};
constexpr WholeSetting bodyOrder{"bodyOrder", 4};
constexpr WholeSetting numRadius4{"numRadius4", 4};
constexpr WholeSetting channels{"channels", 0};

constexpr WholeSetting trainChannels{"trainChannels", 0};

// With two elements their sum and difference tell everything, and the networks do the rest.
constexpr int mostElementsWithFixedWeights = 2;

constexpr std::array clusterKeys{
    onOff("tanhCutoff", &Property::tanhCutoff),
    integer("numRadius", &Property::numRadius, Check::positive),
    real("rcutRadius", &Property::rcutRadius, Check::positive),
    named("maxAngular", true, Check::positive),
    named("bodyOrder", true, Check::positive),
    named("numRadius4", true, Check::positive),
    named("channels", true, Check::notNegative),
    named("trainChannels", true, Check::notNegative),
};

bool isGiven(const Property& property, const WholeSetting& setting) {
    return property.kindSettings.contains(setting.key);
}

int valueOf(const Property& property, const WholeSetting& setting) {
    const auto found = property.kindSettings.find(setting.key);
    return found == property.kindSettings.end() ? setting.byDefault : static_cast<int>(found->second);
}

ClusterSettings sizesOf(const Property& property) {
    ClusterSettings sizes;
    sizes.numRadius = property.numRadius;
    sizes.maxAngular = valueOf(property, maxAngular);
    sizes.bodyOrder = valueOf(property, bodyOrder);
    sizes.numRadius4 = isGiven(property, numRadius4) ? valueOf(property, numRadius4)
                                                     : std::min(numRadius4.byDefault, property.numRadius);
    sizes.rcutRadius = property.rcutRadius;
    return sizes;
}

int channelsFor(const Property& property, int numElems) {
    const int given = valueOf(property, channels);
    return given > 0 ? given : std::min(numElems, mostAutomaticChannels);
}

std::string weightTrainingText(const Property& property) {
    if (!isGiven(property, trainChannels)) {
        return "Auto";
    }
    return yesNoText(valueOf(property, trainChannels));
}

using HeadNumbers = std::array<int, 5>;

HeadNumbers numbersOfHead(const Property& property) {
    const ClusterSettings sizes = sizesOf(property);
    return {sizes.numRadius, sizes.maxAngular, sizes.bodyOrder, sizes.numRadius4,
            valueOf(property, channels)};
}

std::string settingLine(const WholeSetting& setting, int value) {
    return formatText("%-15s%d\n", setting.key, value);
}

bool areValid(std::span<const int> numbers) {
    return numbers[0] > 0 && numbers[1] > 0 && numbers[1] <= SymmFuncCluster::largestAngular &&
           numbers[2] >= 2 && numbers[2] <= 4 && numbers[3] > 0 && numbers[3] <= numbers[0] && numbers[4] > 0;
}

void compare(const HeadReader& head, std::span<const int> numbers) {
    const HeadNumbers expected = numbersOfHead(head.getSettings());
    head.require(numbers[0] == expected[0], "#radial functions of clusters");
    head.require(numbers[1] == expected[1], "largest degree of clusters");
    head.require(numbers[2] == expected[2], "body order of clusters");
    head.require(numbers[3] == expected[3], "#four-body radial functions of clusters");
    head.require(numbers[4] == expected[4], "#channels of clusters");
}

void take(Property& property, std::span<const int> numbers, float rcut) {
    property.numRadius = numbers[0];
    property.kindSettings[maxAngular.key] = numbers[1];
    property.kindSettings[bodyOrder.key] = numbers[2];
    property.kindSettings[numRadius4.key] = numbers[3];
    property.kindSettings[channels.key] = numbers[4];
    property.rcutRadius = rcut;
}

} // namespace

std::span<const KeyRow> ClusterKind::keys() const {
    return clusterKeys;
}

void ClusterKind::setDefaults(Property& property) const {
    property.numRadius = ClusterSettings().numRadius;
}

void ClusterKind::checkSettings(const Property& property, const std::string& fileName) const {
    const ClusterSettings sizes = sizesOf(property);
    const auto requireFit = [&](bool isValid, const char* complaint) {
        if (!isValid) {
            stopWithMessage("%s: %s", complaint, fileName.c_str());
        }
    };
    requireFit(sizes.bodyOrder >= 2 && sizes.bodyOrder <= 4, "bodyOrder is none of 2, 3 and 4");
    requireFit(sizes.maxAngular <= SymmFuncCluster::largestAngular, "maxAngular is larger than 6");
    requireFit(sizes.numRadius4 <= sizes.numRadius, "numRadius4 > numRadius");
}

void ClusterKind::fitToElements(Property& property, int numElems) const {
    property.kindSettings[channels.key] = channelsFor(property, numElems);
}

bool ClusterKind::trainsElementWeights(const Property& property, int numElems) const {
    return isGiven(property, trainChannels) ? valueOf(property, trainChannels) != 0
                                            : numElems > mostElementsWithFixedWeights;
}

std::string ClusterKind::templateText(const Property& property) const {
    constexpr std::array firstLines{TemplateLine{"tanhCutoff", &Property::tanhCutoff},
                                    TemplateLine{"numRadius", &Property::numRadius}};
    constexpr std::array lastLines{TemplateLine{"rcutRadius", &Property::rcutRadius}};
    const ClusterSettings sizes = sizesOf(property);
    return linesText(property, firstLines) + settingLine(maxAngular, sizes.maxAngular) +
           settingLine(bodyOrder, sizes.bodyOrder) + settingLine(numRadius4, sizes.numRadius4) +
           linesText(property, lastLines);
}

// Chosen on validation data of silicon, lithium, water, indium phosphide and carbon chains.
void ClusterKind::proposeTraining(Property& property) const {
    setDefaults(property);
    property.rcutRadius = 6.5f;
    // One geometry with large forces in a hundred teaches what short distances do; files of collapsed
    // structures have larger ones.
    property.maxForce = 50.0f;
    property.modelsEnergy = property.modelsCharge = 4;
    property.nodesEnergy = property.nodesCharge = 64;
    property.lbfgs = 0;
    property.batchs = 2;
    property.epochs = 300;
    property.superEpochs = 1;
    property.geomsEpoch = 0;
    property.epochsOnlyE = 0;
    property.epochsApproxF = 0;
    property.coefFromData = 1;
    property.kindSettings[repulsionKey] = 1.0;
    property.learnRate = 0.003f;
    property.learnRateFinal = 1.0e-5f;
    property.learnRateSchedule = LearnRateSchedule::cosine;
    // No target: a batch of crystals without forces meets any that is not negligible.
    property.rmseEnergy = property.rmseForce = property.rmseCharge = 1.0e-9f;
}

std::string ClusterKind::trainingText(const Property& property) const {
    constexpr std::array lines{TemplateLine{"batchs", &Property::batchs},
                               TemplateLine{"epochsOnlyE", &Property::epochsOnlyE},
                               TemplateLine{"epochsApproxF", &Property::epochsApproxF},
                               TemplateLine{"coefFromData", &Property::coefFromData},
                               TemplateLine{"learnRate", &Property::learnRate},
                               TemplateLine{"learnRateFinal", &Property::learnRateFinal}};
    return linesText(property, lines) + "learnRateSchedule cosine\n" + formatText("%-15s1\n", repulsionKey);
}

BannerBlock ClusterKind::bannerBlock(const Property& property, const std::string& heading) const {
    const ClusterSettings sizes = sizesOf(property);
    const int numChannels = valueOf(property, channels);
    return {
        {heading + formatText(" %s):", cutoffText(property)), ""},
        {"  Body Order     = ", std::to_string(sizes.bodyOrder)},
        {"  Number of Rs   = ", std::to_string(sizes.numRadius)},
        {"  Largest Degree = ", sizes.bodyOrder > 2 ? std::to_string(sizes.maxAngular) : "0"},
        {"  Rs of 4 Bodies = ", sizes.bodyOrder > 3 ? std::to_string(sizes.numRadius4) : "0"},
        {"  Channels       = ", numChannels > 0 ? std::to_string(numChannels) : "Auto"},
        {"  Train Weights  = ", weightTrainingText(property)},
        {"  Rcut           = ", shortText(sizes.rcutRadius, " Angstrom")},
        emptyLine,
        {"A. P. Bartok, R. Kondor, and G. Csanyi, Phys. Rev. B 87, 184115 (2013)", ""},
        {"R. Drautz, Phys. Rev. B 99, 014104 (2019)", ""},
    };
}

bool ClusterKind::readHead(HeadReader& head) const {
    if (!head.next("cannot read cluster functions.")) {
        return false;
    }
    FieldScanner scanner(head.line());
    HeadNumbers numbers{};
    float rcut = 0.0f;
    const bool isRead = std::ranges::all_of(numbers, [&](int& value) { return scanner.readInt(value); }) &&
                        readFinite(scanner, rcut) && rcut > 0.0f;
    if (!isRead) {
        return head.refuse("cannot read cluster functions: " + head.getFileName());
    }
    if (head.isComparing()) {
        compare(head, numbers);
        return true;
    }
    if (!areValid(numbers)) {
        return head.refuse("incorrect cluster functions: " + head.getFileName());
    }
    take(*head.getTarget(), numbers, rcut);
    return true;
}

void ClusterKind::writeHead(std::FILE* stream, const Property& property) const {
    for (const int value : numbersOfHead(property)) {
        std::fprintf(stream, "%d ", value);
    }
    std::fprintf(stream, "%.8e\n", static_cast<double>(property.rcutRadius));
}

bool ClusterKind::isSame(const Property& a, const Property& b) const {
    return (a.tanhCutoff != 0) == (b.tanhCutoff != 0) && a.rcutRadius == b.rcutRadius &&
           numbersOfHead(a) == numbersOfHead(b);
}

float ClusterKind::findLargestCutoff(const Property& property) const {
    return property.rcutRadius;
}

const char* ClusterKind::keysOfSize() const {
    return "numRadius, maxAngular, bodyOrder, numRadius4, channels or rcutRadius";
}

double ClusterKind::countInputs(const Property& property, int numElems) const {
    return SymmFuncCluster::countFunctions(sizesOf(property), channelsFor(property, numElems));
}

// Channels weigh the elements, so that there is the same input for any of them.
InputMap ClusterKind::mapInputs(const Property& property, std::span<const int> /*mapOfElems*/,
                                int numElems) const {
    InputMap map;
    map.targets.resize(static_cast<std::size_t>(countInputs(property, numElems)));
    std::iota(map.targets.begin(), map.targets.end(), 0);
    return map;
}

std::unique_ptr<SymmFunc> ClusterKind::create(int numElems, const Property& property) const {
    const int numChannels = channelsFor(property, numElems);
    return std::make_unique<SymmFuncCluster>(numElems, property.tanhCutoff != 0, sizesOf(property),
                                             SymmFuncCluster::makeChannelWeights(numElems, numChannels));
}

} // namespace melta
