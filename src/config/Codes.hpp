// The choices of a run that are kept as whole numbers, in the fields of Property and in the network file,
// with the words that name them on the console and in text files.
#pragma once

#include <array>
#include <span>
#include <string_view>

namespace melta {

// The enumerations are unscoped because their values go in and out of files as plain numbers; each stands in
// a struct of its own so that names like `tanh` stay out of the namespace.
struct Activation {
    enum Code : int { asis = 1, sigmoid = 2, tanh = 3, eLU = 4, twtanh = 5, GELU = 6 };
};

struct LineSearch {
    enum Code : int { moreThuente = 0, armijo = 1, wolfe = 2, strongWolfe = 3 };
};

// What is measured by one scale among the inputs of a network: all of them, or each by itself. The kinds of
// symmetry functions choose where the user does not.
struct SymmScale {
    enum Code : int { byKind = 0, shared = 1, each = 2 };
};

// How Adam's learning rate falls: by a factor after each epoch, or along half a cosine.
struct LearnRateSchedule {
    enum Code : int { decay = 0, cosine = 1 };
};

// Slope of the linear part of the twisted tanh, tanh(x) + 0.16 x.
inline constexpr float twistedTanhSlope = 0.16f;

// One choice: its number, its word in the properties file, and how the banner shows it.
struct CodeName {
    int code;
    const char* word;
    const char* title;
};

inline constexpr std::array activationNames{
    CodeName{Activation::asis, "asis", "Not Used"},
    CodeName{Activation::sigmoid, "sigmoid", "sigmoid"},
    CodeName{Activation::tanh, "tanh", "tanh"},
    CodeName{Activation::eLU, "eLU", "eLU"},
    CodeName{Activation::twtanh, "twtanh", "Twisted tanh"},
    CodeName{Activation::GELU, "GELU", "GELU"},
};

inline constexpr std::array lineSearchNames{
    CodeName{LineSearch::moreThuente, "more-thuente", "More-Thuente"},
    CodeName{LineSearch::armijo, "armijo", "Armijo"},
    CodeName{LineSearch::wolfe, "wolfe", "Wolfe"},
    CodeName{LineSearch::strongWolfe, "strong-wolfe", "Strong-Wolfe"},
};

inline constexpr std::array symmScaleNames{
    CodeName{SymmScale::shared, "shared", "Shared"},
    CodeName{SymmScale::each, "each", "Each Function"},
};

inline constexpr std::array learnRateScheduleNames{
    CodeName{LearnRateSchedule::decay, "decay", "Decay"},
    CodeName{LearnRateSchedule::cosine, "cosine", "Cosine"},
};

// The entry of a code or of a word of the properties file (exact comparison); null when there is none.
const CodeName* findCode(std::span<const CodeName> names, int code);
const CodeName* findWord(std::span<const CodeName> names, std::string_view word);

} // namespace melta
