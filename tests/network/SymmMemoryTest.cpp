#include "network/SymmMemory.hpp"

#include "base/MemoryLimits.hpp"
#include "config/Codes.hpp"
#include "config/Property.hpp"
#include "support/StopCatcher.hpp"
#include "symmfunc/behler/BehlerKind.hpp"
#include "symmfunc/manybody/ManyBodyKind.hpp"

#include <gtest/gtest.h>

#include <array>
#include <vector>

namespace melta {
namespace {

constexpr std::uint64_t mebi = 1 << 20;

// One atom in a cube of edge 2, Angstrom: six neighbours within 2.5.
Geometry makeCube() {
    const std::array<float, 9> lattice{2, 0, 0, 0, 2, 0, 0, 0, 2};
    Geometry geometry(lattice, 1, false);
    geometry.positions = {0.5f, 0.5f, 0.5f};
    geometry.haveSetAtoms(2.5f, false);
    return geometry;
}

std::string stopOf(const Property& property, SymmUse use) {
    return test::stopMessageOf([&] { requireMemory(3000 * mebi, 2000 * mebi, property, use); });
}

const std::string begin = "not enough memory: symmetry functions take 3000 MiB, but only 2000 MiB are free; ";

TEST(SymmMemoryTest, BytesAreThoseOfTheRows) {
    Geometry geometry = makeCube();
    ASSERT_EQ(geometry.numNeighbors(0), 6);
    const std::vector<Geometry*> twice{&geometry, &geometry};

    EXPECT_EQ(bytesOfSymmFuncs(twice, 10, false), 2U * 4 * 10);
    EXPECT_EQ(bytesOfSymmFuncs(twice, 10, true), 2U * (4 * 10 + 12 * 7 * 10));
}

TEST(SymmMemoryTest, WhatFitsIsNoFailure) {
    const Property property;

    const auto act = [&] {
        requireMemory(2000 * mebi, 2000 * mebi, property, SymmUse::batch);
        requireMemory(2000 * mebi, MemoryLimits::unlimited, property, SymmUse::allGeometries);
    };

    EXPECT_EQ(test::outputOf([&] { EXPECT_EQ(test::stopMessageOf(act), "(no stop)"); }), "");
}

TEST(SymmMemoryTest, StopNamesTheKeysThatHelp) {
    Property property;

    EXPECT_EQ(
        stopOf(property, SymmUse::allGeometries),
        begin + "reduce numRadius, numAngle, rcutRadius or rcutAngle, set geomsEpoch, or let Adam (lbfgs 0) "
                "work with batchs and directSF 1");
    EXPECT_EQ(stopOf(property, SymmUse::batch),
              begin + "reduce numRadius, numAngle, rcutRadius or rcutAngle");
    property.symmFuncKind = ManyBodyKind::code;
    EXPECT_EQ(stopOf(property, SymmUse::batch), begin + "reduce m2, m3 or router");
    property.symmFuncKind = BehlerKind::code;
    property.lbfgs = 0;
    property.batchs = 8;
    EXPECT_EQ(stopOf(property, SymmUse::batch),
              begin + "reduce the functions and cutoffs of the Behler file, or reduce batchs");
}

} // namespace
} // namespace melta
