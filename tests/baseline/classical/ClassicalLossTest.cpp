#include "baseline/classical/ClassicalLoss.hpp"

#include "baseline/classical/ClassicalTwin.hpp"
#include "config/Property.hpp"
#include "structure/ThreadCount.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace melta {
namespace {

using test::ClassicalLossTwin;
using test::ThreadCount;

constexpr float rc = 4.0f;

// How the twin's sums become a loss.
double lossOf(const ClassicalLossTwin& sums, const Property& property) {
    const double coefE = property.hasEnergyCoef != 0 ? static_cast<double>(property.coefEnergy) : 0.0;
    const double coefF = property.hasForceCoef != 0 ? static_cast<double>(property.coefForce) : 0.0;
    return property.sqrtLoss != 0 ? coefE * std::sqrt(sums.sumE) + coefF * std::sqrt(sums.sumF)
                                  : coefE * sums.sumE + coefF * sums.sumF;
}

class ClassicalLossTest : public testing::Test {
protected:
    // Cells with one, two and three elements, so that there are several sets of elements.
    ClassicalLossTest() {
        std::mt19937 random(5);
        test::addElements(set, 3);
        for (int g = 0; g < 7; ++g) {
            const float side = 3.8f + 0.2f * static_cast<float>(g);
            test::addGeometry(set, test::randomCell(random, {side, side + 0.3f, side + 0.1f}, 2 + g % 4,
                                                    1 + g % 3, 1.7f, rc));
        }
        // Elements that are not the first ones.
        for (auto& element : set.geometries[1]->elements) {
            ++element;
        }
        parameters = test::randomParameters(random, 3);
        for (const auto& geometry : set.geometries) {
            geometries.push_back(geometry.get());
        }
        property.coefEnergy = 0.7f;
        property.coefForce = 1.3f;
    }

    ClassicalLoss lossWith(std::size_t memoryLimit = ClassicalLoss::defaultMemoryLimit) {
        ClassicalLoss loss(geometries, PairCutoff(rc), 3, &property, memoryLimit);
        loss.deriveParametersForLossFunc(parameters);
        return loss;
    }

    double twinLoss() {
        return lossOf(ClassicalLossTwin(set, parameters, static_cast<double>(rc)), property);
    }

    // Central difference of the twin's loss. It is a polynomial of second order, or nearly so, so that a
    // large step is no harm.
    double slopeBy(float& parameter) {
        const float middle = parameter;
        const float step = 0.01f * std::max(1.0f, std::fabs(middle));
        parameter = middle + step;
        const auto high = static_cast<double>(parameter);
        const double above = twinLoss();
        parameter = middle - step;
        const double slope = (above - twinLoss()) / (high - static_cast<double>(parameter));
        parameter = middle;
        return slope;
    }

    void expectSlopes(std::vector<float>& values, const std::vector<float>& gradient, double tolerance) {
        ASSERT_EQ(values.size(), gradient.size());
        double largest = 0.0;
        for (const float slope : gradient) {
            largest = std::max(largest, std::fabs(static_cast<double>(slope)));
        }
        for (std::size_t i = 0; i < values.size(); ++i) {
            const double expected = slopeBy(values[i]);
            EXPECT_LE(std::fabs(static_cast<double>(gradient[i]) - expected), tolerance * largest)
                << i << ": " << gradient[i] << " " << expected;
        }
    }

    void expectGradient(const ClassicalLoss& loss, double tolerance) {
        expectSlopes(parameters.coefA, loss.gradients.gradA, tolerance);
        expectSlopes(parameters.coefB, loss.gradients.gradB, tolerance);
        expectSlopes(parameters.coefC, loss.gradients.gradC, tolerance);
        expectSlopes(parameters.coefD, loss.gradients.gradD, tolerance);
        expectSlopes(parameters.elemEnergy, loss.gradients.gradElem, tolerance);
    }

    void expectTwin(const ClassicalLoss& loss) {
        const ClassicalLossTwin twin(set, parameters, static_cast<double>(rc));
        const double expected = lossOf(twin, property);
        EXPECT_LE(std::fabs(static_cast<double>(loss.rmseE) / std::sqrt(twin.sumE) - 1.0), 1.0e-5);
        EXPECT_LE(std::fabs(static_cast<double>(loss.rmseF) / std::sqrt(twin.sumF) - 1.0), 1.0e-5);
        EXPECT_LE(std::fabs(static_cast<double>(loss.loss) / expected - 1.0), 1.0e-5);
    }

    GeometrySet set;
    std::vector<const Geometry*> geometries;
    Property property;
    ClassicalParameters parameters{3};
};

TEST_F(ClassicalLossTest, AgreesWithItsTwin) {
    const ClassicalLoss loss = lossWith();

    expectTwin(loss);
    expectGradient(loss, 1.0e-4);
}

TEST_F(ClassicalLossTest, AgreesWithItsTwinUnderTheRoot) {
    property.sqrtLoss = 1;

    const ClassicalLoss loss = lossWith();

    expectTwin(loss);
    expectGradient(loss, 1.0e-3);
}

TEST_F(ClassicalLossTest, LeavesOutWhatHasNoCoefficient) {
    property.hasForceCoef = 0;
    const ClassicalLoss energy = lossWith();
    expectTwin(energy);
    expectGradient(energy, 1.0e-4);

    property.hasForceCoef = 1;
    property.hasEnergyCoef = 0;
    const ClassicalLoss force = lossWith();
    expectTwin(force);
    expectGradient(force, 1.0e-4);
    EXPECT_EQ(force.gradients.gradElem, std::vector<float>(3));
}

TEST_F(ClassicalLossTest, EvaluatesGeometriesSinglyWithoutMemory) {
    const ClassicalLoss together = lossWith();
    for (const std::size_t memoryLimit : {std::size_t{0}, std::size_t{3000}}) {
        const ClassicalLoss singly = lossWith(memoryLimit);

        EXPECT_LE(std::fabs(singly.loss / together.loss - 1.0f), 1.0e-6f);
        expectGradient(singly, 1.0e-4);
    }
}

TEST_F(ClassicalLossTest, IsTheSameOnOneThreadAndOnFour) {
    const ThreadCount one(1);
    const ClassicalLoss serial = lossWith();
    const ThreadCount four(4);
    const ClassicalLoss parallel = lossWith();
    const ClassicalLoss singly = lossWith(0);

    EXPECT_LE(std::fabs(parallel.loss / serial.loss - 1.0f), 1.0e-6f);
    EXPECT_LE(std::fabs(singly.loss / serial.loss - 1.0f), 1.0e-6f);
    for (std::size_t p = 0; p < parameters.numPairs(); ++p) {
        const float size = 1.0e-6f * std::fabs(serial.gradients.gradD[p]);
        EXPECT_LE(std::fabs(parallel.gradients.gradD[p] - serial.gradients.gradD[p]), size);
        EXPECT_LE(std::fabs(singly.gradients.gradD[p] - serial.gradients.gradD[p]), size);
    }
}

TEST_F(ClassicalLossTest, HasNoSlopeUnderARootOfZero) {
    test::setReference(set, parameters, static_cast<double>(rc));
    for (const auto& geometry : set.geometries) {
        std::ranges::fill(geometry->forces, 0.0f);
        geometry->energyTotal = 0.0;
    }
    parameters.reset(0.0f);
    property.sqrtLoss = 1;

    const ClassicalLoss loss = lossWith();

    EXPECT_EQ(loss.loss, 0.0f);
    EXPECT_EQ(loss.gradients.gradA, std::vector<float>(6));
    EXPECT_EQ(loss.gradients.gradElem, std::vector<float>(3));
}

TEST_F(ClassicalLossTest, LetsIllegalValuesThrough) {
    for (const int withRoot : {0, 1}) {
        property.sqrtLoss = withRoot;
        set.geometries[2]->energyTotal = std::numeric_limits<double>::quiet_NaN();
        EXPECT_TRUE(std::isnan(lossWith().rmseE));
        EXPECT_TRUE(std::isnan(lossWith().loss));
        EXPECT_TRUE(std::isnan(lossWith(0).loss));
        set.geometries[2]->energyTotal = 1.0;
    }
    parameters.coefC[4] = std::numeric_limits<float>::infinity();
    EXPECT_FALSE(std::isfinite(lossWith().loss));
}

} // namespace
} // namespace melta
