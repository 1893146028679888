#pragma once

#include "kim/KimFixture.hpp"
#include "lammps/LammpsRun.hpp"

#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

namespace melta::test {

// Runs of lmp_melta with the pair style.
class PairStyleFixture : public KimFixture {
protected:
    void SetUp() override {
        if (!LammpsRun::isThere(LMP_MELTA)) {
            GTEST_SKIP() << "lmp_melta is not built";
        }
    }

    [[nodiscard]] LammpsRun runOf(const HostCell& cell, const std::string& potentialLines,
                                  const std::vector<std::string>& types = {"O", "Si"}) const {
        LammpsRun run;
        run.program = LMP_MELTA;
        run.unitsLines = "units metal";
        run.potentialLines = potentialLines;
        run.types = types;
        run.cell = cell;
        return run;
    }

    // The complaint of a run that ends with an error of LAMMPS.
    static std::string complaintOf(const LammpsRun& run) {
        const LammpsRun::Outcome outcome = run.run();
        EXPECT_EQ(outcome.status, 1) << outcome.output;
        const std::size_t begin = outcome.output.find("ERROR: ");
        return begin == std::string::npos
                   ? "(none) " + outcome.output
                   : outcome.output.substr(begin, outcome.output.find(" (", begin) - begin);
    }

    // The number behind a text.
    static double numberBehind(const std::string& output, const std::string& text) {
        const std::size_t place = output.find(text);
        return place == std::string::npos ? std::nan("")
                                          : std::strtod(output.c_str() + place + text.size(), nullptr);
    }
};

} // namespace melta::test
