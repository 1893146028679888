#include "symmfunc/SymmFuncFactory.hpp"

#include "config/Property.hpp"
#include "support/StopCatcher.hpp"
#include "symmfunc/behler/BehlerKind.hpp"
#include "symmfunc/behler/SymmFuncBehler.hpp"
#include "symmfunc/chebyshev/ChebyshevKind.hpp"
#include "symmfunc/chebyshev/SymmFuncChebyshev.hpp"

#include <gtest/gtest.h>

namespace melta {
namespace {

TEST(SymmFuncFactoryTest, MakesChebyshevFunctionsWithTheSettings) {
    Property property;
    property.symmFuncKind = ChebyshevKind::code;
    property.elemWeight = 0;
    property.numRadius = 7;
    property.numAngle = 5;

    const auto symmFunc = SymmFuncFactory().createSymmFunc(3, property);

    ASSERT_NE(dynamic_cast<SymmFuncChebyshev*>(symmFunc.get()), nullptr);
    EXPECT_EQ(symmFunc->getNumBasis(), 3 * 7 + 6 * 5);
}

TEST(SymmFuncFactoryTest, WeightedFunctionsDoNotCountElements) {
    Property property;
    property.elemWeight = 1;
    property.numRadius = 7;
    property.numAngle = 5;

    EXPECT_EQ(SymmFuncFactory().createSymmFunc(1, property)->getNumBasis(), 12);
    EXPECT_EQ(SymmFuncFactory().createSymmFunc(9, property)->getNumBasis(), 12);
}

Property makeBehlerProperty() {
    Property property;
    property.symmFuncKind = BehlerKind::code;
    property.elemWeight = 0;
    property.numRadius = 2;
    property.numAngle = 1;
    property.behlerG4 = 1;
    property.radiusEta = {0.5f, 1.5f};
    property.radiusShift = {0.0f, 2.0f};
    property.angleEta = {0.1f};
    property.angleZeta = {4.0f};
    property.angleShift = {0.5f};
    return property;
}

TEST(SymmFuncFactoryTest, MakesBehlerFunctionsThatBorrowTheParameters) {
    const Property property = makeBehlerProperty();

    const auto symmFunc = SymmFuncFactory().createSymmFunc(3, property);

    const auto* behler = dynamic_cast<SymmFuncBehler*>(symmFunc.get());
    ASSERT_NE(behler, nullptr);
    EXPECT_EQ(behler->getNumBasis(), 3 * 2 + 6 * 2);
    EXPECT_EQ(behler->radiusEta.data(), property.radiusEta.data());
    EXPECT_EQ(behler->radiusShift.data(), property.radiusShift.data());
    EXPECT_EQ(behler->angleEta.data(), property.angleEta.data());
    EXPECT_EQ(behler->angleZeta.data(), property.angleZeta.data());
    EXPECT_EQ(behler->angleShift.data(), property.angleShift.data());
    EXPECT_TRUE(behler->behlerG4);
}

TEST(SymmFuncFactoryTest, BehlerFunctionsNeedTheirParametersInOrder) {
    Property property = makeBehlerProperty();
    const Property full = property;
    property.radiusEta = property.radiusShift = {};
    property.angleEta = property.angleZeta = property.angleShift = {};
    const auto message = [&] {
        return test::stopMessageOf([&] { (void)SymmFuncFactory().createSymmFunc(1, property); });
    };

    EXPECT_EQ(message(), "radiusEta is null.");
    property.radiusEta = full.radiusEta;
    EXPECT_EQ(message(), "radiusShift is null.");
    property.radiusShift = full.radiusShift;
    EXPECT_EQ(message(), "angleEta is null.");
    property.angleEta = full.angleEta;
    EXPECT_EQ(message(), "angleZeta is null.");
    property.angleZeta = full.angleZeta;
    EXPECT_EQ(message(), "angleShift is null.");
    property.angleShift = full.angleShift;
    EXPECT_EQ(message(), "(no stop)");
}

TEST(SymmFuncFactoryTest, BehlerFunctionsWithoutAngleNeedNoAngularParameters) {
    Property property = makeBehlerProperty();
    property.numAngle = 0;
    property.angleEta = property.angleZeta = property.angleShift = {};

    const auto symmFunc = SymmFuncFactory().createSymmFunc(1, property);

    const auto* behler = dynamic_cast<SymmFuncBehler*>(symmFunc.get());
    ASSERT_NE(behler, nullptr);
    EXPECT_EQ(behler->getNumBasis(), 2);
    EXPECT_FALSE(behler->behlerG4);
}

TEST(SymmFuncFactoryTest, UnknownKindsGiveNothing) {
    Property property;
    for (const int kind : {0, 5, -1, 99}) {
        property.symmFuncKind = kind;

        EXPECT_EQ(SymmFuncFactory().createSymmFunc(1, property), nullptr) << kind;
    }
}

TEST(SymmFuncFactoryTest, RefusesToWorkWithoutElements) {
    const Property property;

    EXPECT_EQ(test::stopMessageOf([&] { (void)SymmFuncFactory().createSymmFunc(0, property); }),
              "#elements is not positive.");
}

} // namespace
} // namespace melta
