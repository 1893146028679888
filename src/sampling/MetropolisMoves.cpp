#include "sampling/MetropolisMoves.hpp"

#include "base/RandomSource.hpp"
#include "base/Reporting.hpp"
#include "structure/Geometry.hpp"

#include <algorithm>

namespace melta {

MetropolisMoves::MetropolisMoves(MetropolisInput& settings, Geometry& configuration, RandomSource& source)
    : input(settings), geometry(configuration), random(source), mobileAtoms(findMobileAtoms(settings)),
      swapTable(settings) {}

std::vector<int> MetropolisMoves::findMobileAtoms(const MetropolisInput& input) {
    std::vector<int> atoms;
    if (input.withShift == 0) {
        return atoms;
    }
    for (std::size_t atom = 0; atom < input.fixAtoms.size(); ++atom) {
        if (input.fixAtoms[atom] == 0) {
            atoms.push_back(static_cast<int>(atom));
        }
    }
    if (atoms.empty()) {
        stopWithMessage("there are no mobile atoms.");
    }
    return atoms;
}

int MetropolisMoves::chooseType() {
    if (input.withShift != 0) {
        return input.numSwaps > 0 ? std::max(random.drawIndex(2 * input.numSwaps) - input.numSwaps, shift)
                                  : shift;
    }
    if (input.numSwaps < 1) {
        stopWithMessage("there are not atomic shift nor swapping.");
    }
    return random.drawIndex(input.numSwaps);
}

void MetropolisMoves::perform(int moveType) {
    if (moveType < 0 && input.withShift == 0) {
        stopWithMessage("incorrect type of swapping.");
    }
    isShift = moveType < 0;
    numMoved = 0;
    if (isShift) {
        shiftAtom();
    } else {
        swapPair(moveType);
    }
}

void MetropolisMoves::undo() {
    if (isShift) {
        std::ranges::copy(keptPosition, coordinatesOf(places[0]).begin());
    } else {
        swapCoordinates(places[0], places[1]);
    }
}

void MetropolisMoves::shiftAtom() {
    const int place = random.drawIndex(static_cast<int>(mobileAtoms.size()));
    places[0] = {false, mobileAtoms[static_cast<std::size_t>(place)]};
    rememberMoved(places[0]);
    const std::span<float> position = coordinatesOf(places[0]);
    std::ranges::copy(position, keptPosition.begin());
    for (float& coordinate : position) {
        const float u = random.drawUniform();
        coordinate += ((u - 1.0f) + u) * input.shiftCoord;
    }
}

void MetropolisMoves::swapPair(int pair) {
    const std::array<int, 2>& indices = swapTable.indicesOf(static_cast<std::size_t>(pair));
    places[0] = drawPlace(indices[0]);
    places[1] = drawPlace(indices[1]);
    rememberMoved(places[0]);
    rememberMoved(places[1]);
    swapCoordinates(places[0], places[1]);
}

MetropolisMoves::Place MetropolisMoves::drawPlace(int swapIndex) {
    const int place = random.drawIndex(swapTable.countOf(swapIndex));
    if (swapIndex == SwapTable::vacancy) {
        return {true, place};
    }
    return {false, swapTable.atomOf(swapIndex, place)};
}

void MetropolisMoves::rememberMoved(Place place) {
    if (!place.isVacancy) {
        movedAtoms[numMoved] = place.index;
        ++numMoved;
    }
}

std::span<float> MetropolisMoves::coordinatesOf(Place place) {
    const std::span<float> all = place.isVacancy ? input.vacancyCoords : geometry.positions;
    return all.subspan(3 * static_cast<std::size_t>(place.index), 3);
}

void MetropolisMoves::swapCoordinates(Place a, Place b) {
    std::ranges::swap_ranges(coordinatesOf(a), coordinatesOf(b));
}

} // namespace melta
