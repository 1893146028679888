// The kinds of baseline potentials, as the rest of the program sees them.
#pragma once

#include "config/BannerLine.hpp"
#include "config/KeyRow.hpp"
#include "config/TemplateText.hpp"

#include <cstdio>
#include <memory>
#include <span>
#include <string>

namespace melta {

class BaselinePotential;
class GeometrySet;
class HeadReader;
class LineReader;
class TextCopier;
class ViewBaseline;

// What a kind of baseline potential says about itself: its settings, its lines of banner, template and head,
// its file of parameters and how that goes into an exported force field, and how it is made. An object of
// each kind stands in the table of kinds; nothing else in the program asks which kind it has in hand. At most
// one kind is on. Without state; for concurrent use.
class BaselineKind {
public:
    // `kindCode`: its number in the head of a model, positive. `kindKey`: the key that switches it on.
    constexpr BaselineKind(int kindCode, const char* kindKey) : number(kindCode), key(kindKey) {}
    virtual ~BaselineKind() = default;
    BaselineKind(const BaselineKind&) = delete;
    BaselineKind& operator=(const BaselineKind&) = delete;
    BaselineKind(BaselineKind&&) = delete;
    BaselineKind& operator=(BaselineKind&&) = delete;

    [[nodiscard]] int getCode() const { return number; }
    [[nodiscard]] const char* getKey() const { return key; }

    // Settings.

    [[nodiscard]] virtual bool isOn(const Property& property) const = 0;

    // Takes the code of a head, which may be that of another kind.
    virtual void takeCode(Property& property, int code) const = 0;

    [[nodiscard]] virtual std::span<const KeyRow> keys() const = 0;
    [[nodiscard]] virtual std::span<const TemplateLine> templateLines() const = 0;

    // Its lines in the banner's block of the networks.
    [[nodiscard]] virtual BannerBlock bannerLines(const Property& property) const = 0;

    // Lines of the head behind the first one, if it is on. Reading takes them or compares them; false when
    // one is missing or unreadable.
    virtual bool readHead(HeadReader& head) const = 0;
    virtual void writeHead(std::FILE* stream, const Property& property) const = 0;

    // Whether two settings, with this kind on, mean the same potential.
    [[nodiscard]] virtual bool isSame(const Property& a, const Property& b) const = 0;

    // Files.

    // Name of the file with its parameters.
    [[nodiscard]] virtual const char* fileName() const = 0;

    // Copies what an exported force field needs of that file.
    virtual void exportParameters(std::FILE* parameters, TextCopier& out) const = 0;

    // Before a training: makes what the file of parameters lacks for the elements of a set, whose neighbour
    // lists are there, from its data, and tells it on the console. Most kinds make nothing. Stops as the
    // reading and the writing of the file do.
    virtual void completeParameters(const GeometrySet& /*set*/, const Property& /*property*/,
                                    const std::string& /*parameterFile*/) const {}

    // Potentials.

    // The potential with the parameters of a file, for the elements of a set; tells on the console what it
    // tells. Both are borrowed. Stops as the reading of the file does.
    [[nodiscard]] virtual std::unique_ptr<BaselinePotential>
    make(const GeometrySet* set, const Property* property, const std::string& parameterFile) const = 0;

    // Says of a set that this potential is to be taken out of its data; whether that has been said.
    virtual void mark(GeometrySet& set) const = 0;
    [[nodiscard]] virtual bool isMarked(const GeometrySet& set) const = 0;

    // Tells it on the console and takes the potential out of the geometries of `order`, shared by threads.
    virtual void removeFrom(const GeometrySet& set, const Property& property, std::span<const int> order,
                            const std::string& parameterFile) const = 0;

    // The potential for the evaluation of views, for elements in the order of the set. `lines`: the file of
    // parameters or, with `isExported`, an exported force field, which then stands behind them. `name`: that
    // file in messages. Stops as the reading does.
    [[nodiscard]] virtual std::shared_ptr<const ViewBaseline> load(const GeometrySet& elements,
                                                                   const Property& property,
                                                                   LineReader& lines, const std::string& name,
                                                                   bool isExported) const = 0;

private:
    int number;
    const char* key;
};

// The table of kinds, which stands above with the kinds themselves, in baseline/BaselineKinds.cpp.
std::span<const BaselineKind* const> baselineKinds();

// The kind that the settings have switched on, the last one if several are; null without.
const BaselineKind* baselineKindOf(const Property& property);

// The kind with the code of a head; null for 0 and below. Codes that nobody has mean ReaxFF where they are
// larger than its own, as in older files.
const BaselineKind* findBaselineKind(int code);

// Stops with "you cannot use %s & %s at the same time: %s" (the keys, `fileName`) if several kinds are on.
void requireOneBaseline(const Property& property, const std::string& fileName);

} // namespace melta
