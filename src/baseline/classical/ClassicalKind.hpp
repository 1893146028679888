#pragma once

#include "config/BaselineKind.hpp"

namespace melta {

// ClassicalPot in the table of kinds. Of its file an exported force field takes the number of pairs on a line
// and the lines of the pairs: the file begins with the number of elements n, here and n lines of elements are
// passed over, and n (n + 1) / 2 lines of pairs follow. Without a positive n on its first line the number of
// pairs is 0, and if lines are missing at its end they are missing in the export.
class ClassicalKind final : public BaselineKind {
public:
    static constexpr int code = 1;

    constexpr ClassicalKind() : BaselineKind(code, "withClassical") {}

    [[nodiscard]] bool isOn(const Property& property) const override;
    void takeCode(Property& property, int headCode) const override;
    [[nodiscard]] std::span<const KeyRow> keys() const override;
    [[nodiscard]] std::span<const TemplateLine> templateLines() const override;
    [[nodiscard]] BannerBlock bannerLines(const Property& property) const override;
    bool readHead(HeadReader& head) const override;
    void writeHead(std::FILE* stream, const Property& property) const override;
    [[nodiscard]] bool isSame(const Property& a, const Property& b) const override;
    [[nodiscard]] const char* fileName() const override;
    void exportParameters(std::FILE* parameters, TextCopier& out) const override;
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
