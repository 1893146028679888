#include "KimAtoms.hpp"

#include "melta/Error.hpp"

namespace melta {
namespace {

template <class Number>
const Number* argumentOf(const KIM::ModelComputeArguments& arguments, const KIM::ComputeArgumentName& name) {
    const Number* pointer = nullptr;
    if (arguments.GetArgumentPointer(name, &pointer) != 0 || pointer == nullptr) {
        throw Error("the simulator does not give " + name.ToString() + ".");
    }
    return pointer;
}

} // namespace

void KimAtoms::update(const KIM::ModelComputeArguments& arguments, double angstrom, int numElements) {
    namespace Name = KIM::COMPUTE_ARGUMENT_NAME;
    const int number = *argumentOf<int>(arguments, Name::numberOfParticles);
    if (number < 0) {
        throw Error("the simulator gives a negative number of particles.");
    }
    if (number == 0) {
        orderParticles({});
        copyLists(arguments);
        return;
    }
    orderParticles(
        {argumentOf<int>(arguments, Name::particleContributing), static_cast<std::size_t>(number)});
    copyAtoms(argumentOf<double>(arguments, Name::coordinates),
              argumentOf<int>(arguments, Name::particleSpeciesCodes), angstrom, numElements);
    copyLists(arguments);
}

NeighborView KimAtoms::view() const {
    NeighborView view;
    view.numAtoms = static_cast<int>(particleOf.size());
    view.numLocal = numLocal;
    view.positions = positions.data();
    view.elements = elements.data();
    view.numLists = numLocal;
    view.neighbors = lists.data();
    view.lengths = lengths.data();
    return view;
}

void KimAtoms::orderParticles(std::span<const int> contributing) {
    particleOf.clear();
    atomOf.resize(contributing.size());
    for (const bool local : {true, false}) {
        for (std::size_t p = 0; p < contributing.size(); ++p) {
            if ((contributing[p] != 0) == local) {
                atomOf[p] = static_cast<int>(particleOf.size());
                particleOf.push_back(static_cast<int>(p));
            }
        }
        if (local) {
            numLocal = static_cast<int>(particleOf.size());
        }
    }
}

void KimAtoms::copyAtoms(const double* coordinates, const int* codes, double angstrom, int numElements) {
    positions.resize(3 * particleOf.size());
    elements.resize(particleOf.size());
    for (std::size_t i = 0; i < particleOf.size(); ++i) {
        const auto particle = static_cast<std::size_t>(particleOf[i]);
        for (std::size_t c = 0; c < 3; ++c) {
            positions[3 * i + c] = coordinates[3 * particle + c] / angstrom;
        }
        if (codes[particle] < 0 || codes[particle] >= numElements) {
            throw Error("the simulator gives a code of species that the model does not have.");
        }
        elements[i] = codes[particle];
    }
}

// The simulator may use the memory of one list for the next one.
void KimAtoms::copyLists(const KIM::ModelComputeArguments& arguments) {
    const auto numParticles = static_cast<int>(particleOf.size());
    entries.clear();
    lengths.clear();
    for (int i = 0; i < numLocal; ++i) {
        int length = 0;
        const int* list = nullptr;
        if (arguments.GetNeighborList(0, particleOf[static_cast<std::size_t>(i)], &length, &list) != 0 ||
            length < 0 || (length > 0 && list == nullptr)) {
            throw Error("the simulator gives no list of neighbours.");
        }
        for (int n = 0; n < length; ++n) {
            if (list[n] < 0 || list[n] >= numParticles) {
                throw Error("the simulator gives a neighbour that is no particle.");
            }
            entries.push_back(atomOf[static_cast<std::size_t>(list[n])]);
        }
        lengths.push_back(length);
    }
    lists.clear();
    const int* first = entries.data();
    for (const int length : lengths) {
        lists.push_back(first);
        first += length;
    }
}

} // namespace melta
