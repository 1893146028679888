#pragma once

#include <array>
#include <string>
#include <vector>

namespace melta::test {

// A ReaxFF parameter file, made piece by piece. Numbers stand in the order of the file's columns.
struct ReaxFieldText {
    struct Atom {
        std::string name;
        std::array<std::array<double, 8>, 4> lines;
    };
    struct Bond {
        int first; // types, counted from 1
        int second;
        std::array<std::array<double, 8>, 2> lines;
    };
    struct OffDiagonal {
        int first;
        int second;
        std::array<double, 6> line; // depth, r_vdW, alpha, r_sigma, r_pi, r_pipi
    };

    std::vector<double> general; // parameter 1 first
    std::vector<Atom> atoms;
    std::vector<Bond> bonds;
    std::vector<OffDiagonal> offDiagonals;

    // The whole file, one string per line.
    [[nodiscard]] std::vector<std::string> makeLines() const;

    // The whole file.
    [[nodiscard]] std::string makeText() const;
};

// Made-up parameters of the usual size for C, H, O and Fe (types 1 to 4 of the file), with all terms and
// corrections on. No bond between Fe and C or H.
ReaxFieldText makeReaxField();

// Where lines of the file of makeReaxField begin, counted from 0.
inline constexpr std::size_t generalLine = 2; // first general parameter
inline constexpr std::size_t atomCountLine = 41;
inline constexpr std::size_t atomLine = 45; // first line of the first type
inline constexpr std::size_t bondCountLine = 61;
inline constexpr std::size_t bondLine = 63; // first line of the first bond
inline constexpr std::size_t offDiagonalCountLine = 79;
inline constexpr std::size_t offDiagonalLine = 80;

std::string joinLines(const std::vector<std::string>& lines);

} // namespace melta::test
