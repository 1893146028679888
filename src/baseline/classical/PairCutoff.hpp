#pragma once

#include <array>
#include <cstddef>

namespace melta {

// The powers of the pair potential, in the order in which all arrays over powers hold them.
inline constexpr std::size_t numPowers = 4;
inline constexpr std::array<float, numPowers> pairPowers{12.0f, 10.0f, 8.0f, 6.0f};

// The base functions of the pair potential and what they need of the cutoff radius:
//
//     f_n(r) = r^-n - s_n + t_n (r - rc),  s_n = rc^-n,  t_n = n s_n / rc,
//
// so that each function and its slope vanish at rc. Lengths in Angstrom.
struct PairCutoff {
    float rc = 0.0f;
    std::array<float, numPowers> shift{}; // s_n
    std::array<float, numPowers> slope{}; // t_n

    explicit PairCutoff(float cutoff);

    // f_n at a distance, for tables: 0 from the cutoff on.
    [[nodiscard]] std::array<float, numPowers> valuesAt(float r) const;
};

// r^12, r^10, r^8, r^6 by repeated products of r^2.
std::array<float, numPowers> powersOf(float r);

// A v_12 + B v_10 + C v_8 + D v_6.
inline float combine(const std::array<float, numPowers>& coefs, const std::array<float, numPowers>& values) {
    return coefs[0] * values[0] + coefs[1] * values[1] + coefs[2] * values[2] + coefs[3] * values[3];
}

} // namespace melta
