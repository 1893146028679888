#include "base/MemoryLimits.hpp"

#include "support/ResourceLimit.hpp"
#include "support/TemporaryDirectory.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <unistd.h>

namespace melta {
namespace {

constexpr std::uint64_t mebi = 1 << 20;

// A machine of its own making.
class MemoryLimitsTest : public testing::Test {
protected:
    void write(const std::string& name, const std::string& text) {
        const std::filesystem::path file = directory.path() / name;
        std::filesystem::create_directories(file.parent_path());
        test::writeTextFile(file.string(), text);
    }

    // A group of the second version; numbers in MiB.
    void writeGroup(const std::string& name, const std::string& limit, std::uint64_t usage,
                    std::uint64_t inactive, std::uint64_t active) {
        const std::string place = "groups/" + name + "/";
        write(place + "memory.max", limit + "\n");
        write(place + "memory.current", std::to_string(usage * mebi) + "\n");
        write(place + "memory.stat", "anon 77\nfile 99\ninactive_file " + std::to_string(inactive * mebi) +
                                         "\nactive_file " + std::to_string(active * mebi) + "\n");
    }

    test::TemporaryDirectory directory;
    MemoryLimits limits{directory.path() / "proc", directory.path() / "groups"};
};

TEST_F(MemoryLimitsTest, WhatIsNotToldIsNoLimit) {
    EXPECT_EQ(limits.findFreeOfMachine(), MemoryLimits::unlimited);
    EXPECT_EQ(limits.findFreeOfGroups(), MemoryLimits::unlimited);
    EXPECT_EQ(limits.findFreeAddresses(), MemoryLimits::unlimited);
    EXPECT_EQ(limits.findFree(), MemoryLimits::unlimited);
}

TEST_F(MemoryLimitsTest, MachineGivesWhatIsAvailableAndItsSwapSpace) {
    write("proc/meminfo", "MemTotal: 900 kB\nMemFree: 5 kB\nMemAvailable:   300 kB\nSwapFree:  20 kB\n");

    EXPECT_EQ(limits.findFreeOfMachine(), 320U * 1024);
    EXPECT_EQ(limits.findFree(), 320U * 1024);
}

TEST_F(MemoryLimitsTest, GroupLeavesItsLimitWithoutWhatItUses) {
    write("proc/self/cgroup", "0::/job\n");
    writeGroup("job", std::to_string(1000 * mebi), 600, 100, 50);

    EXPECT_EQ(limits.findFreeOfGroups(), 550 * mebi);
    EXPECT_EQ(limits.findFree(), 550 * mebi);
}

TEST_F(MemoryLimitsTest, GroupThatIsFullLeavesNothing) {
    write("proc/self/cgroup", "0::/job\n");
    writeGroup("job", std::to_string(1000 * mebi), 1001, 0, 0);

    EXPECT_EQ(limits.findFreeOfGroups(), 0U);
}

TEST_F(MemoryLimitsTest, GroupsAroundTheGroupCount) {
    write("proc/self/cgroup", "0::/user/job:1/step\n");
    writeGroup("", "max", 5000, 0, 0);
    writeGroup("user", std::to_string(800 * mebi), 700, 0, 0);
    writeGroup("user/job:1", "max", 600, 0, 0);
    writeGroup("user/job:1/step", std::to_string(1000 * mebi), 100, 0, 0);

    EXPECT_EQ(limits.findFreeOfGroups(), 100 * mebi);
}

TEST_F(MemoryLimitsTest, GroupThatCannotBeSeenHereIsThatOfTheRoot) {
    write("proc/self/cgroup", "0::/of/the/host\n");
    writeGroup("", std::to_string(300 * mebi), 100, 0, 0);

    EXPECT_EQ(limits.findFreeOfGroups(), 200 * mebi);
}

TEST_F(MemoryLimitsTest, GroupsOfTheFirstVersionCount) {
    write("proc/self/cgroup", "5:cpu,cpuacct:/a\n4:hugetlb,memory:/job\n3:pids:/b\n");
    write("groups/memory/job/memory.limit_in_bytes", std::to_string(500 * mebi));
    write("groups/memory/job/memory.usage_in_bytes", std::to_string(400 * mebi));
    write("groups/memory/job/memory.stat", "cache 5\ntotal_inactive_file " + std::to_string(20 * mebi) +
                                               "\ntotal_active_file " + std::to_string(3 * mebi) + "\n");

    EXPECT_EQ(limits.findFreeOfGroups(), 123 * mebi);
}

TEST_F(MemoryLimitsTest, LimitsOfTheProcessAreLessWhatIsTaken) {
    constexpr std::uint64_t most = std::uint64_t{1} << 46; // more than sanitizers take
    const auto page = static_cast<std::uint64_t>(getpagesize());
    write("proc/self/statm", "1000 500 20 10 0 300 0\n");
    {
        const test::ResourceLimit limit(RLIMIT_AS, most);
        EXPECT_EQ(limits.findFreeAddresses(), most - 1000 * page);
    }
    {
        const test::ResourceLimit limit(RLIMIT_DATA, most);
        EXPECT_EQ(limits.findFreeAddresses(), most - 300 * page);
    }
}

TEST_F(MemoryLimitsTest, ThisMachineHasSomething) {
    EXPECT_GT(MemoryLimits().findFree(), mebi);
}

} // namespace
} // namespace melta
