// Evaluations one after the other take no new memory: counted by the operators of this program, on all
// threads.

#include "baseline/reax/ReaxFieldText.hpp"
#include "potential/PotentialFixture.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

std::atomic<std::size_t> numAllocations = 0;

void* allocate(std::size_t size, std::size_t alignment) {
    ++numAllocations;
    void* const memory = std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

} // namespace

void* operator new(std::size_t size) {
    return allocate(size, alignof(std::max_align_t));
}

void* operator new(std::size_t size, std::align_val_t alignment) {
    return allocate(size, static_cast<std::size_t>(alignment));
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::align_val_t) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    std::free(memory);
}

namespace melta::test {
namespace {

class SteadyStateTest : public PotentialFixture {
protected:
    // Allocations of an evaluation of a larger and of a smaller geometry, once both have been evaluated.
    std::size_t countAllocations(Wishes wishes, int numThreads = 1) {
        const Potential potential = Potential::load(directory.path());
        const PeriodicView large = viewOf(*set->geometries[0], potential);
        const PeriodicView small = viewOf(*set->geometries[1], potential);
        Potential::Workspace workspace(numThreads);
        Evaluation result;
        const auto evaluateBoth = [&] {
            potential.evaluate(large.view(), wishes, result, workspace);
            potential.evaluate(small.view(), wishes, result, workspace);
        };
        evaluateBoth();
        const std::size_t before = numAllocations;
        evaluateBoth();
        return numAllocations - before;
    }
};

TEST_F(SteadyStateTest, AllocationsAreCounted) {
    const std::size_t before = numAllocations;

    const std::vector<double> values(100);

    EXPECT_EQ(numAllocations, before + 1);
}

TEST_F(SteadyStateTest, EvaluationsTakeNoMemory) {
    property.withCharge = 1;
    makeModel();
    writeHistograms();

    EXPECT_EQ(countAllocations(Wish::energy), 0U);
    EXPECT_EQ(countAllocations(Wish::energy | Wish::forces | Wish::virial | Wish::atomVirials), 0U);
    EXPECT_EQ(countAllocations(Wish::charges | Wish::modelEnergies | Wish::modelForces | Wish::novelty), 0U);
}

TEST_F(SteadyStateTest, EvaluationsWithThreadsTakeNoMemory) {
    property.withCharge = 1;
    makeModel();
    writeHistograms();

    EXPECT_EQ(countAllocations(Wish::energy | Wish::forces | Wish::virial | Wish::atomVirials, 3), 0U);
    EXPECT_EQ(countAllocations(Wish::charges | Wish::modelEnergies | Wish::modelForces | Wish::novelty, 3),
              0U);
}

TEST_F(SteadyStateTest, ClassicalBaselineTakesNoMemory) {
    property.withClassical = 1;
    makeModel();
    writeTextFile(file("melta.class"),
                  "2\nO 0.0\nSi 0.0\n"
                  "O O 30.0 -2.0 1.0 -4.0\nO Si 20.0 3.0 -1.0 -2.0\nSi Si 90.0 1.0 -1.0 0.5\n");

    EXPECT_EQ(countAllocations(Wish::energy | Wish::forces | Wish::virial), 0U);
}

TEST_F(SteadyStateTest, RepulsionTakesNoMemory) {
    property.kindSettings["withZBL"] = 1.0;
    makeModel();
    writeTextFile(file("melta.zbl"), "3\nO O 1.0 2.9\nO Si 0.5 2.8\nSi Si 1.5 3.0\n");

    EXPECT_EQ(countAllocations(Wish::energy | Wish::forces | Wish::virial), 0U);
}

TEST_F(SteadyStateTest, ReaxFFBaselineTakesNoMemory) {
    property.withReaxFF = 1;
    property.rcutReaxFF = 5.0f;
    makeModel();
    writeTextFile(file("ffield.reax"), makeReaxField().makeText());

    EXPECT_EQ(countAllocations(Wish::energy | Wish::forces | Wish::virial), 0U);
}

} // namespace
} // namespace melta::test
