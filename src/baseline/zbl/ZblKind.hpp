#pragma once

#include "config/BaselineKind.hpp"

namespace melta {

// ZblPot in the table of kinds. Its file of radii is made from the training data where it is missing, or
// lacks pairs; from then on it belongs to the model. An exported force field takes it as it is.
class ZblKind final : public BaselineKind {
public:
    // Far from the small numbers with which older files mean ReaxFF.
    static constexpr int code = 92;

    constexpr ZblKind() : BaselineKind(code, "withZBL") {}

    [[nodiscard]] bool isOn(const Property& property) const override;
    void takeCode(Property& property, int headCode) const override;
    [[nodiscard]] std::span<const KeyRow> keys() const override;
    [[nodiscard]] std::span<const TemplateLine> templateLines() const override { return {}; }
    [[nodiscard]] BannerBlock bannerLines(const Property& property) const override;
    bool readHead(HeadReader& /*head*/) const override { return true; }
    void writeHead(std::FILE* /*stream*/, const Property& /*property*/) const override {}
    [[nodiscard]] bool isSame(const Property& /*a*/, const Property& /*b*/) const override { return true; }
    [[nodiscard]] const char* fileName() const override;
    void exportParameters(std::FILE* parameters, TextCopier& out) const override;
    void completeParameters(const GeometrySet& set, const Property& property,
                            const std::string& parameterFile) const override;
    [[nodiscard]] std::unique_ptr<BaselinePotential> make(const GeometrySet* set, const Property* property,
                                                          const std::string& parameterFile) const override;
    void mark(GeometrySet& set) const override;
    [[nodiscard]] bool isMarked(const GeometrySet& set) const override;
    void removeFrom(const GeometrySet& set, const Property& property, std::span<const int> order,
                    const std::string& parameterFile) const override;
    [[nodiscard]] std::shared_ptr<const ViewBaseline> load(const GeometrySet& elements,
                                                           const Property& property, LineReader& lines,
                                                           const std::string& name,
                                                           bool isExported) const override;
};

} // namespace melta
