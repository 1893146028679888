#include "symmfunc/behler/BehlerTemplate.hpp"

#include "base/LineReader.hpp"
#include "base/Reporting.hpp"

namespace melta {
namespace {

constexpr float distanceToCutoff = 0.5f; // of the outermost point of each grid, Angstrom
constexpr float firstShift = 0.5f;       // Rs of the first G2, Angstrom
constexpr float firstWidth = 1.0f;       // width of the first G3, Angstrom
constexpr int maxFunctions = 100000;     // of a kind; more are a slip of the pen that would fill the disk

// Distance of neighbouring points of a grid from `first` to short of the cutoff, Angstrom.
float findStep(float first, float rcut, int numPoints, const char* kind) {
    const float top = rcut - distanceToCutoff;
    if (top <= first) {
        stopWithMessage("too small Rcut for %s.", kind);
    }
    return (top - first) / static_cast<float>(numPoints - 1);
}

void writeRadialGrid(std::FILE* file, int numRadius, float rcutRadius) {
    const float step = findStep(firstShift, rcutRadius, numRadius, "G2");
    const float eta = 1.0f / (2.0f * step * step);
    std::fputs("\nG2 # eta rs\n", file);
    for (int i = 0; i < numRadius; ++i) {
        const float shift = static_cast<float>(i) * step + firstShift;
        std::fprintf(file, "%.6f  %.6f\n", static_cast<double>(eta), static_cast<double>(shift));
    }
}

// eta = 1 / (2 w^2) for the width w = i step + 1, with the factors in an order that fixes the rounding.
void writeAngularGrid(std::FILE* file, int numG3, float rcutAngle) {
    const float step = findStep(firstWidth, rcutAngle, numG3, "G3");
    std::fputs("\nG3 # eta zeta rs\n", file);
    for (int i = 0; i < numG3; ++i) {
        const auto point = static_cast<float>(i);
        const float eta = 1.0f / ((2.0f * point * step + 2.0f * firstWidth) * (point * step + firstWidth));
        std::fprintf(file, "%.6f  1.000000  0.000000\n", static_cast<double>(eta));
    }
}

} // namespace

void writeBehlerTemplate(const std::string& fileName, int numRadius, int numG3, float rcutRadius,
                         float rcutAngle, bool overwrite) {
    if (!overwrite && LineReader(fileName).isOpen()) {
        return;
    }
    if (numRadius > maxFunctions || numG3 > maxFunctions) {
        stopWithMessage("too many symmetry functions: %s", fileName.c_str());
    }
    FilePointer file = openForWriting(fileName);
    std::fprintf(file.get(), "Rcut # for G2 and G3\n%.6f  %.6f\n", static_cast<double>(rcutRadius),
                 static_cast<double>(rcutAngle));
    if (numRadius > 1) {
        writeRadialGrid(file.get(), numRadius, rcutRadius);
    }
    if (numG3 > 1) {
        writeAngularGrid(file.get(), numG3, rcutAngle);
    }
    closeWritten(std::move(file), fileName);
}

} // namespace melta
