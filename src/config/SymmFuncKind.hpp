// The kinds of symmetry functions, as the rest of the program sees them.
#pragma once

#include "config/BannerLine.hpp"
#include "config/KeyRow.hpp"

#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace melta {

class HeadReader;
class SymmFunc;
struct InputMap;

// What a kind of symmetry functions says about itself: its settings in the properties file, the banner, the
// template and the head of a model, the layout of the inputs that it gives to the networks, and how it is
// made. An object of each kind stands in the table of kinds; nothing else in the program asks which kind it
// has in hand. Without state; for concurrent use.
class SymmFuncKind {
public:
    // `kindCode`: its number in the files of a model, not 0. `kindWord`: its word behind the key "symmFunc".
    // `kindTitle`: its name in the banner.
    constexpr SymmFuncKind(int kindCode, const char* kindWord, const char* kindTitle)
        : number(kindCode), word(kindWord), title(kindTitle) {}
    virtual ~SymmFuncKind() = default;
    SymmFuncKind(const SymmFuncKind&) = delete;
    SymmFuncKind& operator=(const SymmFuncKind&) = delete;
    SymmFuncKind(SymmFuncKind&&) = delete;
    SymmFuncKind& operator=(SymmFuncKind&&) = delete;

    [[nodiscard]] int getCode() const { return number; }
    [[nodiscard]] const char* getWord() const { return word; }
    [[nodiscard]] const char* getTitle() const { return title; }

    // Properties file.

    // Keys of this kind; kinds that share a setting both name its key. They are accepted whichever kind is
    // chosen.
    [[nodiscard]] virtual std::span<const KeyRow> keys() const = 0;

    // Changes defaults that suit other kinds better, when this one is chosen and before its keys are read.
    virtual void setDefaults(Property& property) const;

    // Settles what depends on the number of elements, once the data are known.
    virtual void fitToElements(Property& property, int numElems) const;

    // Checks the settings against each other. Stops with "%s: %s", the complaint and `fileName`.
    virtual void checkSettings(const Property& property, const std::string& fileName) const;

    // Takes functions that stand in a file of their own, `functionFile`. Stops as the kind says.
    virtual void readFunctions(Property& property, const std::string& functionFile) const;

    // The lines of this kind behind the key "symmFunc" in a template.
    [[nodiscard]] virtual std::string templateText(const Property& property) const = 0;

    // Changes settings of a training to those with which this kind gives good results on any data; a template
    // for this kind proposes them.
    virtual void proposeTraining(Property& property) const;

    // The lines that such a template adds to those that all templates have.
    [[nodiscard]] virtual std::string trainingText(const Property& property) const;

    // Its block of the banner, with the method that it cites. `heading`: the first line up to the title.
    [[nodiscard]] virtual BannerBlock bannerBlock(const Property& property,
                                                  const std::string& heading) const = 0;

    // Head of a model: its lines between the kinds and the networks.

    // Takes them or compares them. False when one of them is missing or unreadable.
    virtual bool readHead(HeadReader& head) const = 0;
    virtual void writeHead(std::FILE* stream, const Property& property) const = 0;

    // Functions.

    // Whether two settings of this kind mean the same functions.
    [[nodiscard]] virtual bool isSame(const Property& a, const Property& b) const = 0;

    // Largest distance of a neighbour that counts, Angstrom.
    [[nodiscard]] virtual float findLargestCutoff(const Property& property) const = 0;

    // The settings to reduce for less memory, as a message names them.
    [[nodiscard]] virtual const char* keysOfSize() const = 0;

    // Whether mini-batches compute the functions anew unless the user says otherwise: for kinds whose
    // derivatives are too many to be kept.
    [[nodiscard]] virtual bool isDirectByDefault() const { return false; }

    // Whether each function has a scale of its own among the inputs of a network unless the user says
    // otherwise.
    [[nodiscard]] virtual bool scalesEachByDefault() const { return false; }

    // Whether a training of energies by Adam changes how much elements count in the functions
    // (SymmFunc::getElementWeights) together with the networks.
    [[nodiscard]] virtual bool trainsElementWeights(const Property& property, int numElems) const;

    // Whether a network has inputs of its own for each element, so that they move when the elements change.
    [[nodiscard]] virtual bool dependsOnElements(const Property& property) const {
        return property.elemWeight == 0;
    }

    // Inputs of a network for that many elements, in double precision because the sizes in a file may make
    // any number.
    [[nodiscard]] virtual double countInputs(const Property& property, int numElems) const = 0;

    // Where the inputs of a network of some elements go among those for `numElems` elements, if they depend
    // on elements. `mapOfElems`: for each element of the source its index in the target, or -1; no index
    // twice. Both numbers of inputs have to fit into int.
    [[nodiscard]] virtual InputMap mapInputs(const Property& property, std::span<const int> mapOfElems,
                                             int numElems) const = 0;

    // The functions themselves. They may borrow arrays from `property`. Stops with what the kind refuses.
    [[nodiscard]] virtual std::unique_ptr<SymmFunc> create(int numElems, const Property& property) const = 0;

private:
    int number;
    const char* word;
    const char* title;
};

// The table of kinds, which stands above with the kinds themselves, in symmfunc/SymmFuncKinds.cpp.
std::span<const SymmFuncKind* const> symmFuncKinds();

// The kind with that code or word (exact comparison); null when there is none.
const SymmFuncKind* findSymmFuncKind(int code);
const SymmFuncKind* findSymmFuncKind(std::string_view word);

// The kind that the settings have chosen. Stops with "unknown symmetry function." when there is none.
const SymmFuncKind& symmFuncKindOf(const Property& property);

// Whether the settings give each function a scale of its own. Stops with "unknown symmetry function.".
bool scalesEachFunction(const Property& property);

} // namespace melta
