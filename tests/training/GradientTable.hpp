// What can be read from the table of a gradient check, and whether it shows an agreement.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <functional>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

namespace melta::test {

struct GradientRow {
    double value = 0.0;
    double analytic = 0.0;
    double numerical = 0.0;
    double error = 0.0;
    double percent = 0.0;
};

// All rows of an output. A line that only looks like one, or has not the next number, fails the test.
inline std::vector<GradientRow> readGradientTable(const std::string& output) {
    std::vector<GradientRow> rows;
    std::istringstream stream(output);
    for (std::string line; std::getline(stream, line);) {
        if (!line.starts_with("  #.")) {
            continue;
        }
        GradientRow row;
        int number = 0;
        int end = 0;
        const int count =
            std::sscanf(line.c_str(), "  #.%5d  %12lf  %12lf  %12lf  %12lf (%lf%%)%n", &number, &row.value,
                        &row.analytic, &row.numerical, &row.error, &row.percent, &end);
        EXPECT_EQ(count, 6) << line;
        EXPECT_EQ(static_cast<std::size_t>(end), line.size()) << line;
        rows.push_back(row);
        EXPECT_EQ(static_cast<std::size_t>(number), rows.size()) << line;
    }
    return rows;
}

// A parameter's derivatives, and how far rounding and the length of the shift may bring them apart.
struct Derivatives {
    double analytic = 0.0;
    double numerical = 0.0;
    double bound = 0.0;

    double deviation() const { return std::abs(analytic - numerical); }
};

// Checks a model with shifts to both sides; the mean of both differences lacks the term of the curvature. Of
// what is left, the difference to the mean for twice the shift is three times the leading term. `debug` gives
// the output for a shift; `loss` is that of the model.
inline std::vector<Derivatives> checkWithShifts(const std::function<std::string(float)>& debug, double loss,
                                                float shift = 0.015625f) {
    constexpr double roundings = 8.0;
    const double noise = roundings * static_cast<double>(std::numeric_limits<float>::epsilon()) * loss /
                         static_cast<double>(shift);
    const auto meanOfBothSides = [&](float by) {
        std::vector<GradientRow> rows = readGradientTable(debug(by));
        const std::vector<GradientRow> others = readGradientTable(debug(-by));
        EXPECT_EQ(rows.size(), others.size());
        for (std::size_t i = 0; i < rows.size(); ++i) {
            rows[i].numerical = 0.5 * (rows[i].numerical + others.at(i).numerical);
        }
        return rows;
    };
    const std::vector<GradientRow> near = meanOfBothSides(shift);
    const std::vector<GradientRow> far = meanOfBothSides(2.0f * shift);
    std::vector<Derivatives> list;
    for (std::size_t i = 0; i < near.size(); ++i) {
        list.push_back(
            {near[i].analytic, near[i].numerical, noise + std::abs(far.at(i).numerical - near[i].numerical)});
    }
    return list;
}

inline void expectAgreement(const std::vector<Derivatives>& list) {
    double squaresOfGradient = 0.0;
    double squaresOfBounds = 0.0;
    for (std::size_t i = 0; i < list.size(); ++i) {
        EXPECT_LE(list[i].deviation(), list[i].bound)
            << "parameter " << i + 1 << ": " << list[i].analytic << " and " << list[i].numerical;
        squaresOfGradient += list[i].analytic * list[i].analytic;
        squaresOfBounds += list[i].bound * list[i].bound;
    }
    EXPECT_GT(squaresOfGradient, 0.0);
    EXPECT_LE(std::sqrt(squaresOfBounds), 0.1 * std::sqrt(squaresOfGradient)) << "the bounds prove nothing";
}

} // namespace melta::test
