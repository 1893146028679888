#pragma once

#include "config/SymmFuncKind.hpp"

namespace melta {

// SymmFuncCluster in the table of kinds.
class ClusterKind final : public SymmFuncKind {
public:
    static constexpr int code = 4;

    constexpr ClusterKind() : SymmFuncKind(code, "cluster", "Cluster Functions") {}

    [[nodiscard]] std::span<const KeyRow> keys() const override;
    void setDefaults(Property& property) const override;
    void checkSettings(const Property& property, const std::string& fileName) const override;
    void fitToElements(Property& property, int numElems) const override;
    [[nodiscard]] std::string templateText(const Property& property) const override;
    void proposeTraining(Property& property) const override;
    [[nodiscard]] std::string trainingText(const Property& property) const override;
    [[nodiscard]] BannerBlock bannerBlock(const Property& property,
                                          const std::string& heading) const override;
    bool readHead(HeadReader& head) const override;
    void writeHead(std::FILE* stream, const Property& property) const override;
    [[nodiscard]] bool isSame(const Property& a, const Property& b) const override;
    [[nodiscard]] float findLargestCutoff(const Property& property) const override;
    [[nodiscard]] const char* keysOfSize() const override;
    [[nodiscard]] bool scalesEachByDefault() const override { return true; }
    [[nodiscard]] bool trainsElementWeights(const Property& property, int numElems) const override;
    [[nodiscard]] bool dependsOnElements(const Property& /*property*/) const override { return false; }
    [[nodiscard]] double countInputs(const Property& property, int numElems) const override;
    [[nodiscard]] InputMap mapInputs(const Property& property, std::span<const int> mapOfElems,
                                     int numElems) const override;
    [[nodiscard]] std::unique_ptr<SymmFunc> create(int numElems, const Property& property) const override;
};

} // namespace melta
