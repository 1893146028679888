#pragma once

#include "config/SymmFuncKind.hpp"

namespace melta {

// SymmFuncChebyshev in the table of kinds.
class ChebyshevKind final : public SymmFuncKind {
public:
    static constexpr int code = 3;

    constexpr ChebyshevKind() : SymmFuncKind(code, "chebyshev", "Chebyshev polynomial") {}

    [[nodiscard]] std::span<const KeyRow> keys() const override;
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
