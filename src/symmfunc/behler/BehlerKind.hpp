#pragma once

#include "config/SymmFuncKind.hpp"

namespace melta {

// SymmFuncBehler in the table of kinds. Its functions stand in a file of their own, see
// Property::readBehlerFile.
class BehlerKind final : public SymmFuncKind {
public:
    static constexpr int code = 2;

    constexpr BehlerKind() : SymmFuncKind(code, "behler", "Behler's G2 & G") {}

    [[nodiscard]] std::span<const KeyRow> keys() const override;
    void readFunctions(Property& property, const std::string& functionFile) const override;
    [[nodiscard]] std::string templateText(const Property& property) const override;
    [[nodiscard]] BannerBlock bannerBlock(const Property& property,
                                          const std::string& heading) const override;
    bool readHead(HeadReader& head) const override;
    void writeHead(std::FILE* stream, const Property& property) const override;
    [[nodiscard]] bool isSame(const Property& a, const Property& b) const override;
    [[nodiscard]] float findLargestCutoff(const Property& property) const override;
    [[nodiscard]] const char* keysOfSize() const override;
    [[nodiscard]] double countInputs(const Property& property, int numElems) const override;
    [[nodiscard]] InputMap mapInputs(const Property& property, std::span<const int> mapOfElems,
                                     int numElems) const override;
    [[nodiscard]] std::unique_ptr<SymmFunc> create(int numElems, const Property& property) const override;
};

} // namespace melta
