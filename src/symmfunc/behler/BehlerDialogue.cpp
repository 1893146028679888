#include "symmfunc/behler/BehlerDialogue.hpp"

#include "base/ConsoleInput.hpp"
#include "base/Reporting.hpp"
#include "config/FiniteNumber.hpp"
#include "symmfunc/behler/BehlerTemplate.hpp"

namespace melta {
namespace {

constexpr int defaultNumG2 = 50;
constexpr int defaultNumG3 = 15;
constexpr float defaultCutoff = 6.0f; // Angstrom

// The answer to a question that has been printed: a whole number not below `least`, or else the default.
int readCount(int least, int defaultCount) {
    const std::string answer = readAnswer().value_or("");
    FieldScanner scanner(answer);
    int count = 0;
    return scanner.readInt(count) && count >= least ? count : defaultCount;
}

// The same for a positive length, Angstrom.
float readCutoff(float defaultLength) {
    const std::string answer = readAnswer().value_or("");
    FieldScanner scanner(answer);
    float length = 0.0f;
    return readFinite(scanner, length) && length > 0.0f ? length : defaultLength;
}

int askForNumG2() {
    printOut("\nnumber of G2 symmetry functions [default is %d]:\n", defaultNumG2);
    const int count = readCount(1, defaultNumG2);
    if (count == 1) {
        printOut("\n  * There is 1 G2 symmetry function.\n");
    } else {
        printOut("\n  * There are %d G2 symmetry functions.\n", count);
    }
    return count;
}

int askForNumG3() {
    printOut("\nnumber of G3 symmetry functions w/o lambda-freedom [default is %d]:\n", defaultNumG3);
    const int count = readCount(0, defaultNumG3);
    if (count == 0) {
        printOut("\n  * There is no G3 symmetry function.\n");
    } else {
        printOut("\n  * There are %d x 2 G3 symmetry functions.\n", count);
    }
    return count;
}

float askForCutoff(const char* kind, float defaultLength) {
    printOut("\ncutoff radius for %s symmetry functions [default is %.1f]:\n", kind,
             static_cast<double>(defaultLength));
    const float length = readCutoff(defaultLength);
    printOut("\n  * Cutoff of %s symmetry functions is %.6f.\n", kind, static_cast<double>(length));
    return length;
}

} // namespace

void askForBehlerFile(const std::string& fileName) {
    constexpr bool overwrite = true;
    const int numG2 = askForNumG2();
    const float rcutRadius = askForCutoff("G2", defaultCutoff);
    const int numG3 = askForNumG3();
    const float rcutAngle = numG3 > 0 ? askForCutoff("G3", rcutRadius) : rcutRadius;
    writeBehlerTemplate(fileName, numG2, numG3, rcutRadius, rcutAngle, overwrite);
}

} // namespace melta
