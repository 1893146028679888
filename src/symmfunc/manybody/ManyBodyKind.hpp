#pragma once

#include "config/SymmFuncKind.hpp"

namespace melta {

// SymmFuncManyBody in the table of kinds.
class ManyBodyKind final : public SymmFuncKind {
public:
    static constexpr int code = 1;

    constexpr ManyBodyKind() : SymmFuncKind(code, "many-body", "Many-Body Method") {}

    [[nodiscard]] std::span<const KeyRow> keys() const override;
    void checkSettings(const Property& property, const std::string& fileName) const override;
    [[nodiscard]] std::string templateText(const Property& property) const override;
    [[nodiscard]] BannerBlock bannerBlock(const Property& property,
                                          const std::string& heading) const override;
    bool readHead(HeadReader& head) const override;
    void writeHead(std::FILE* stream, const Property& property) const override;
    [[nodiscard]] bool isSame(const Property& a, const Property& b) const override;
    [[nodiscard]] float findLargestCutoff(const Property& property) const override;
    [[nodiscard]] const char* keysOfSize() const override;
    [[nodiscard]] bool isDirectByDefault() const override { return true; }
    [[nodiscard]] double countInputs(const Property& property, int numElems) const override;
    [[nodiscard]] InputMap mapInputs(const Property& property, std::span<const int> mapOfElems,
                                     int numElems) const override;
    [[nodiscard]] std::unique_ptr<SymmFunc> create(int numElems, const Property& property) const override;
};

} // namespace melta
