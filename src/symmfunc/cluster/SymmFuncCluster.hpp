#pragma once

#include "symmfunc/SymmFunc.hpp"
#include "symmfunc/cluster/ClusterPlan.hpp"

#include <span>
#include <vector>

namespace melta {

// Sizes of the cluster functions.
struct ClusterSettings {
    int numRadius = 8;       // radial functions
    int maxAngular = 4;      // largest degree of the harmonics, at most 6; without use for bodyOrder 2
    int bodyOrder = 4;       // 2, 3 or 4
    int numRadius4 = 4;      // radial functions of the four-body functions; without use below bodyOrder 4
    float rcutRadius = 6.0f; // Angstrom
};

// Invariants of the density of neighbours, expanded on Chebyshev polynomials and real spherical harmonics.
// With u the unit vector towards a neighbour at distance r, fc the cutoff function, w_k(e) the weight of its
// element in channel k, which the element of the central atom has for itself, and sums over all neighbours
// inside rcutRadius:
//
//     g_n(r) = T_n(2 r / rcutRadius - 1) fc(r),                            n = 0 to numRadius - 1
//     c_knlm = sum of w_k(e) g_n(r) Y_lm(u),                               l = 0 to maxAngular
//
//     two-body:    c_kn00
//     three-body:  sum over m of c_knlm c_kn'lm for n' = n and n + 1, and of c_jnlm c_knlm for j < k,
//                  l = 1 to maxAngular
//     four-body:   sum over m1, m2, m3 of G(l1 m1, l2 m2, l3 m3) c_knl1m1 c_knl2m2 c_knl3m3, n below
//                  numRadius4, l1 <= l2 <= l3
//
// The harmonics are scaled so that the sum of Y_lm^2 over m is 1; ClusterTriples.hpp has G and the triples of
// degrees, ClusterPlan.hpp the order of the functions. Their number grows with the channels and not with the
// elements, the work with the neighbours and not with their pairs.
//
// The radial functions are those of N. Artrith, A. Urban and G. Ceder, Phys. Rev. B 96, 014112 (2017), the
// three-body functions the power spectrum and the four-body functions the bispectrum of A. P. Bartok,
// R. Kondor and G. Csanyi, Phys. Rev. B 87, 184115 (2013), as invariants of a density after R. Drautz,
// Phys. Rev. B 99, 014104 (2019).
class SymmFuncCluster final : public SymmFunc {
public:
    // `channelWeights` [numElems][numChannels]: w_k(e), to begin with the same for each central element;
    // their length says how many channels there are. The other arguments become numElems, tanhCutoff and the
    // sizes. Stops, in this order, with the message of the base class, "size of radius basis is not
    // positive.", "body order is none of 2, 3 and 4.", "angular degree is out of range.", "size of four-body
    // radius basis is out of range.", "cutoff for radius is not positive.", "weights of channels do not fit
    // the elements.", "weights of channels are not finite." and "too many symmetry functions.".
    SymmFuncCluster(int elems, bool withTanh, const ClusterSettings& settings,
                    std::span<const float> channelWeights);

    // Weights [elems][channels] to start from, for at most as many channels as elements: the first channel is
    // the sum over the elements, the further ones tell them apart. Channels are orthogonal to each other, and
    // the largest weight of each is 1. Two channels of two elements are sum and difference.
    static std::vector<float> makeChannelWeights(int elems, int channels);

    static constexpr int largestAngular = 6;

    // How many functions there are, in double precision because the sizes may make any number.
    static double countFunctions(const ClusterSettings& settings, int numChannels);

    // The derivatives cost a pass through all functions for each neighbour and axis; calculateGradient and
    // calculateTangent, which need none of them, cost about as much as the values.
    void calculateAtom(const NeighborArrays& neighbors, std::span<float> symmData,
                       std::span<float> symmDiff) const override;
    void calculateGradient(const NeighborArrays& neighbors, std::span<const float> byValues,
                           std::span<float> byPositions) const override;
    void calculateTangent(const NeighborArrays& neighbors, std::span<const float> directions,
                          std::span<float> changes) const override;
    void calculateGradients(const NeighborArrays& neighbors, std::span<const float> byValues,
                            std::span<float> byPositions) const override;
    void calculateTangents(const NeighborArrays& neighbors, std::span<const float> directions,
                           std::span<float> changes) const override;
    [[nodiscard]] bool isCheapWithoutDiff() const override { return true; }

    [[nodiscard]] std::span<const float> getElementWeights() const override { return weights; }
    void setElementWeights(std::span<const float> elementWeights) override;
    void addElementWeightGradients(const NeighborArrays& neighbors, std::span<const float> byValues,
                                   std::span<const float> bySlopes, std::span<const float> directions,
                                   std::span<float> gradients) const override;

private:
    struct Workspace;
    static Workspace& workspace(); // of the calling thread

    void checkSettings(const ClusterSettings& settings) const;
    void setPlan(const ClusterSettings& settings, std::size_t numChannels);
    void takeNeighbors(const NeighborArrays& neighbors, Workspace& work) const;
    void computeDensity(const NeighborArrays& neighbors, Workspace& work) const;
    void computeDerivatives(int central, Workspace& work, std::span<float> symmDiff) const;
    void addColumnGradient(int central, std::span<const float> byValues, Workspace& work,
                           std::span<float> byPositions) const;
    void addColumnTangent(int central, std::span<const float> directions, Workspace& work,
                          std::span<float> changes) const;
    [[nodiscard]] std::span<const float> weightsOf(int central, int element) const;
    [[nodiscard]] std::span<const float> weightsOf(int central) const; // [numElems][numChannels]

    std::vector<float> weights; // [numElems][numElems][numChannels]
    ClusterPlan plan;
    ClusterPlan planOfOne; // the same for one channel
};

} // namespace melta
