#include "modelio/NNIO.hpp"

#include "base/Reporting.hpp"
#include "modelio/ModelFiles.hpp"
#include "support/FileSizeLimit.hpp"
#include "symmfunc/behler/BehlerKind.hpp"
#include "symmfunc/manybody/ManyBodyKind.hpp"

#include <cmath>

namespace fs = std::filesystem;

namespace melta {
namespace {

using test::Model;
using test::ModelFiles;
using test::RawInputs;
using test::readTextFile;
using test::stopMessageOf;
using test::writeTextFile;

using Elements = std::vector<std::string>;

TEST_F(ModelFiles, StopsWithoutSettingsOrSet) {
    const GeometrySet set;

    EXPECT_EQ(stopMessageOf([&] { NNIO(nullptr, nullptr); }), "property is null.");
    EXPECT_EQ(stopMessageOf([&] { NNIO(&property, nullptr); }), "geometrySet is null.");
    EXPECT_EQ(stopMessageOf([&] { NNIO(nullptr, &set); }), "property is null.");
}

TEST_F(ModelFiles, WritesTheCompanionToTheByte) {
    property.elemWeight = 1;
    property.numRadius = 4;
    property.numAngle = 1;
    property.modelsEnergy = 1;
    property.layersEnergy = 1;
    property.nodesEnergy = 2;
    Model model;
    fill(model, {"A"}, 1);
    std::vector<NNLayer*> layers = model.energy[0].getLayers();
    float value = 0.0f;
    for (NNLayer* const layer : layers) {
        for (const std::span<float> values : {layer->weightOf(0), layer->biasOf(0)}) {
            for (float& parameter : values) {
                parameter = (value += 0.5f);
            }
        }
    }
    model.set.energyAve = {-100.1};

    write(model);

    EXPECT_EQ(readTextFile(energyName),
              "5.00000000e-01 1.00000000e+00 1.50000000e+00 2.00000000e+00 2.50000000e+00 3.00000000e+00 "
              "3.50000000e+00 4.00000000e+00 \n"
              "4.50000000e+00 5.00000000e+00 \n"
              "5.50000000e+00 6.00000000e+00 \n"
              "6.50000000e+00 7.00000000e+00 \n"
              "-9.2599999999999994e+01\n");
}

TEST_F(ModelFiles, BreaksTheLineOnceAfterEightValues) {
    property.elemWeight = 1;
    property.numRadius = 4;
    property.numAngle = 0;
    property.modelsEnergy = 1;
    property.layersEnergy = 1;
    property.nodesEnergy = 2;
    Model model;
    fill(model, {"A"}, 1);

    write(model);

    const std::string text = readTextFile(energyName);
    EXPECT_EQ(text.find("\n\n"), std::string::npos);
    EXPECT_EQ(std::ranges::count(text, '\n'), 4);
}

TEST_F(ModelFiles, ReadsWhatItWrote) {
    Model model;
    fill(model, {"B", "A"}, 1);
    write(model);
    Model copy;
    fill(copy, {"B", "A"}, 100);

    read(copy);

    EXPECT_EQ(copy.statistics.symmAve, model.statistics.symmAve);
    EXPECT_EQ(copy.statistics.symmDev, model.statistics.symmDev);
    for (std::size_t e = 0; e < 2; ++e) {
        EXPECT_EQ(parametersOf(copy.energy[e]), parametersOf(model.energy[e]));
    }
}

TEST_F(ModelFiles, WritesAgainWhatItRead) {
    Model model;
    fill(model, {"B", "A"}, 1);
    write(model);
    const std::string head = readTextFile(headName);
    const std::string companion = readTextFile(energyName);
    Model copy;
    fill(copy, {"B", "A"}, 100);
    read(copy);

    write(copy);

    EXPECT_EQ(readTextFile(headName), head);
    EXPECT_EQ(readTextFile(energyName), companion);
}

TEST_F(ModelFiles, KeepsAbsoluteEnergiesForOtherMeans) {
    Model model;
    fill(model, {"A"}, 1);
    write(model);
    Model copy;
    fill(copy, {"A"}, 100);
    copy.set.energyAve = {-90.25};

    read(copy);

    const float difference = static_cast<float>(model.set.energyAve[0] + 90.25);
    for (int m = 0; m < property.modelsEnergy; ++m) {
        const float expected = model.energy[0].getLastLayer().biasOf(m).front() + difference;
        EXPECT_LE(std::abs(copy.energy[0].getLastLayer().biasOf(m).front() - expected), 1.0e-5f);
    }
}

TEST_F(ModelFiles, LeavesTheCompanionAloneWithoutNetworks) {
    Model model;
    fill(model, {"A"}, 1);
    model.energy.clear();
    writeTextFile(energyName, "untouched");

    write(model);
    read(model);

    EXPECT_EQ(readTextFile(energyName), "untouched");
}

TEST_F(ModelFiles, LeavesTheFileOfChargesAlone) {
    property.withCharge = 1;
    property.nodesCharge = 9;
    Model model;
    fill(model, {"A"}, 1);

    write(model);
    read(model);

    EXPECT_TRUE(otherFiles().empty());
}

TEST_F(ModelFiles, StopsWhenDataOfAnElementAreMissing) {
    Model model;
    fill(model, {"A", "B"}, 1);
    write(model);
    const std::string head = readTextFile(headName);
    model.energy.pop_back();
    const char* const message = "index of element is out of range.";

    EXPECT_EQ(stopMessageOf([&] { write(model); }), message);
    EXPECT_EQ(stopOfReading(model), message);
    EXPECT_EQ(readTextFile(headName), head);
}

TEST_F(ModelFiles, StopsWithoutCompanion) {
    Model model;
    fill(model, {"A"}, 1);
    write(model);
    fs::remove(energyName);

    EXPECT_EQ(stopOfReading(model), "cannot open file: " + energyName);
    fs::create_directory(energyName);
    EXPECT_EQ(stopOfReading(model), "cannot open file: " + energyName);
}

TEST_F(ModelFiles, NamesTheFileThatCannotBeWritten) {
    Model model;
    fill(model, {"A"}, 1);
    writeTextFile(headName, "old\n");
    fs::create_directory(energyName);
    EXPECT_EQ(stopMessageOf([&] { write(model); }), "cannot open file: " + energyName);
    EXPECT_EQ(readTextFile(headName), "old\n");

    fs::remove(headName);
    fs::create_directory(headName);
    EXPECT_EQ(stopMessageOf([&] { write(model); }), "cannot open file: " + headName);
    EXPECT_TRUE(otherFiles().empty());
}

TEST_F(ModelFiles, KeepsTheOldModelWhenTheDiskIsFull) {
    Model old;
    fill(old, {"A"}, 1);
    write(old);
    const std::string head = readTextFile(headName);
    const std::string companion = readTextFile(energyName);
    Model model;
    fill(model, {"A", "B"}, 100);
    const std::string message = stopMessageOf([&] {
        const test::FileSizeLimit limit(head.size() + 256);
        write(model);
    });

    EXPECT_EQ(message, "cannot write file: " + energyName);
    EXPECT_EQ(readTextFile(headName), head);
    EXPECT_EQ(readTextFile(energyName), companion);
    EXPECT_TRUE(otherFiles().empty());
}

// --- other elements

// A model that was made with some elements, read for a set with others.
class OtherElements : public ModelFiles {
protected:
    // Atoms whose neighbours are of elements that both know have the same energies.
    void expectSameEnergies(const Elements& file, const Elements& own) {
        Model model;
        fill(model, file, 1);
        write(model);
        Model reader;
        fill(reader, own, 100);
        // Values of the file have to take their place.
        std::ranges::fill(reader.statistics.symmAve, 9.0f);
        std::ranges::fill(reader.statistics.symmDev, -1.0f);
        Elements common;
        std::ranges::copy_if(own, std::back_inserter(common), [&](const std::string& element) {
            return std::ranges::find(file, element) != file.end();
        });

        read(reader);

        const RawInputs raw(property, common);
        for (const std::string& element : common) {
            const auto inFile = static_cast<std::size_t>(std::ranges::find(file, element) - file.begin());
            const auto inSet = static_cast<std::size_t>(std::ranges::find(own, element) - own.begin());
            const std::vector<float> expected = energiesOf(model, inFile, raw.layOut(file));
            EXPECT_LE(test::worstError(energiesOf(reader, inSet, raw.layOut(own)), expected), 1.0e-7)
                << element;
        }
    }

    void expectSameEnergiesForAllLists() {
        expectSameEnergies({"A", "B", "C"}, {"C", "A", "B"});
        expectSameEnergies({"A", "B", "C"}, {"C", "A"});
        expectSameEnergies({"A", "B", "C"}, {"B"});
        expectSameEnergies({"B"}, {"A", "B", "C"});
        expectSameEnergies({"C", "A"}, {"A", "B", "C"});
        expectSameEnergies({"A", "B", "C"}, {"D", "C", "A"});
    }
};

TEST_F(OtherElements, KeepEnergiesForChebyshev) {
    expectSameEnergiesForAllLists();
}

TEST_F(OtherElements, KeepEnergiesForBehler) {
    property.symmFuncKind = BehlerKind::code;
    property.radiusEta = {1.0f, 2.0f, 3.0f};
    property.radiusShift = {0.0f, 0.0f, 0.0f};
    property.angleEta = {1.0f, 2.0f};
    property.angleZeta = {1.0f, 2.0f};
    property.angleShift = {0.0f, 0.0f};

    expectSameEnergiesForAllLists();
}

TEST_F(OtherElements, KeepEnergiesForManyBody) {
    property.symmFuncKind = ManyBodyKind::code;

    expectSameEnergiesForAllLists();
}

TEST_F(OtherElements, KeepWhatTheyHad) {
    Model model;
    fill(model, {"A"}, 1);
    write(model);
    Model reader;
    fill(reader, {"B", "A"}, 100);
    const std::vector<float> networksOfB = parametersOf(reader.energy[0]);
    const NNLayer& firstOfA = reader.energy[1].getInterLayers().front();
    const std::vector<float> weights(firstOfA.weightOf(0).begin(), firstOfA.weightOf(0).end());

    read(reader);

    EXPECT_EQ(parametersOf(reader.energy[0]), networksOfB);
    EXPECT_EQ(reader.statistics.symmAve[0], 0.25f * ('B' - '?'));
    // Inputs of an atom of A: 3 of B, 3 of A, 2 each of BB, AB, AA.
    for (const std::size_t input : {0U, 1U, 2U, 6U, 7U, 8U, 9U}) {
        EXPECT_EQ(firstOfA.weightOf(0)[input], weights[input]) << input;
    }
    const NNLayer& source = model.energy[0].getInterLayers().front();
    EXPECT_EQ(firstOfA.weightOf(0)[3], source.weightOf(0)[0]);
    EXPECT_EQ(firstOfA.weightOf(0)[10], source.weightOf(0)[3]);
}

TEST_F(OtherElements, NeedNoMapWhenInputsAreWeighted) {
    property.elemWeight = 1;
    Model model;
    fill(model, {"A", "B", "C"}, 1);
    write(model);
    Model reader;
    fill(reader, {"C", "D", "A"}, 100);
    const std::vector<float> networksOfD = parametersOf(reader.energy[1]);

    read(reader);

    EXPECT_EQ(parametersOf(reader.energy[0]), parametersOf(model.energy[2]));
    EXPECT_EQ(parametersOf(reader.energy[1]), networksOfD);
    EXPECT_EQ(parametersOf(reader.energy[2]), parametersOf(model.energy[0]));
    EXPECT_EQ(reader.statistics.symmAve[0], model.statistics.symmAve[2]);
    EXPECT_EQ(reader.statistics.symmDev[2], model.statistics.symmDev[0]);
}

// --- broken companions

class BrokenCompanion : public ModelFiles {
protected:
    BrokenCompanion() {
        fill(model, {"A", "B"}, 1);
        write(model);
        words = splitWords(readTextFile(energyName));
        setElements(subset.set, {"B"});
        subset.statistics = {{0.0f}, {1.0f}};
        subset.energy.push_back(makeEnsemble({"B"}, 50));
    }

    // The message for a companion whose word number `index` is missing.
    [[nodiscard]] std::string messageAt(std::size_t index) const {
        const NNEnsemble& ensemble = model.energy[0];
        std::vector<std::string> kinds;
        for (const NNLayer& layer : ensemble.getInterLayers()) {
            kinds.insert(kinds.end(), layer.weightOf(0).size(), "weight");
            kinds.insert(kinds.end(), layer.biasOf(0).size(), "bias");
        }
        kinds.insert(kinds.end(), ensemble.getLastLayer().weightOf(0).size(), "weight");
        kinds.emplace_back("bias1");
        return "cannot scan neural network @" + kinds[index % kinds.size()];
    }

    void writeWords(std::size_t count) const {
        std::string text;
        for (std::size_t i = 0; i < count; ++i) {
            text += words[i] + "\n";
        }
        writeTextFile(energyName, text);
    }

    Model model;
    Model subset;
    std::vector<std::string> words;
};

TEST_F(BrokenCompanion, StopsAtTheFirstMissingNumber) {
    for (std::size_t count = 0; count < words.size(); ++count) {
        writeWords(count);

        ASSERT_EQ(stopOfReading(model), messageAt(count)) << count;
        ASSERT_EQ(stopOfReading(subset), messageAt(count)) << count;
    }
}

TEST_F(BrokenCompanion, StopsAtAnythingThatIsNoFiniteNumber) {
    const std::vector<std::string> sound = words;
    for (const char* const junk : {"nan", "inf", "-inf", "1e400", "x", "\x01\xff"}) {
        for (std::size_t index = 0; index < sound.size(); index += 11) {
            words = sound;
            words[index] = junk;
            writeWords(words.size());

            ASSERT_EQ(stopOfReading(model), messageAt(index)) << junk << index;
        }
    }
}

TEST_F(BrokenCompanion, StopsAtAnOutputBiasBeyondSinglePrecision) {
    words.back() = "1e39";
    writeWords(words.size());

    EXPECT_EQ(stopOfReading(model), "cannot scan neural network @bias1");
}

TEST_F(BrokenCompanion, StopsWhenNoBiasCanReplaceDroppedInputs) {
    model.statistics = {{3.0e38f, 3.0e38f}, {1.0e-20f, 1.0e-20f}};
    write(model);

    EXPECT_EQ(stopOfReading(subset), "cannot scan neural network @bias");
    EXPECT_EQ(stopOfReading(model), "(no stop)");
}

TEST_F(BrokenCompanion, TakesNumbersInAnyLines) {
    Model copy;
    fill(copy, {"A", "B"}, 100);
    writeWords(words.size());
    writeTextFile(energyName, readTextFile(energyName) + "\n \t\r\n\n");

    read(copy);

    EXPECT_EQ(parametersOf(copy.energy[1]), parametersOf(model.energy[1]));
}

TEST_F(BrokenCompanion, StopsAtTextBehindTheLastNumber) {
    for (const char* const text : {"anything", "0.5", "-"}) {
        Model copy;
        fill(copy, {"A", "B"}, 100);
        words.emplace_back(text);
        writeWords(words.size());
        words.pop_back();

        EXPECT_EQ(stopOfReading(copy), "there is text behind the last number: " + energyName);
    }
}

TEST_F(BrokenCompanion, StopsAtAHeadThatTellsOfFewerModels) {
    std::string head = readTextFile(headName);
    const std::string shape = formatText("%d %d %d %d\n", property.layersEnergy, property.nodesEnergy,
                                         property.activEnergy, property.modelsEnergy);
    ASSERT_NE(head.find(shape), std::string::npos);
    --property.modelsEnergy;
    head.replace(head.find(shape), shape.size(),
                 formatText("%d %d %d %d\n", property.layersEnergy, property.nodesEnergy,
                            property.activEnergy, property.modelsEnergy));
    writeTextFile(headName, head);
    Model copy;
    fill(copy, {"A", "B"}, 100);

    // The second element's first model begins in the middle of the first element's last.
    EXPECT_EQ(stopOfReading(copy), "there is text behind the last number: " + energyName);
}

TEST_F(BrokenCompanion, RefusesInputsThatNobodyTrains) {
    property.symmFuncKind = ManyBodyKind::code;
    property.m3 = 20;
    Model one;
    fill(one, {"A"}, 1);
    std::string head = "1 0 1 0\n3 20 0 6\n0\n2 4 5 2\n127\n";
    for (int i = 0; i < GeometrySet::maxElems; ++i) {
        head += formatText("E%d 0 1 1\n", i);
    }
    writeTextFile(headName, head);

    EXPECT_EQ(stopOfReading(one), "neural network is too large: " + energyName);
}

} // namespace
} // namespace melta
