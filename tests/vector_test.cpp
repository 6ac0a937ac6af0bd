// SPDX-License-Identifier: MIT
// The vector building blocks of the fast renderer, each by itself and lane by lane.
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "effect/fast/instruction_set.h"
#include "tests/support/instruction_sets.h"
#include "tests/vector/checks.h"

namespace quorvel::test {
namespace {

using fast::InstructionSet;

const VectorCheck* checksOf(InstructionSet set) {
    switch (set) {
        case InstructionSet::Avx512:
            return kAvx512Checks;
        case InstructionSet::Avx2:
            return kAvx2Checks;
        default:
            return kBaselineChecks;
    }
}

int countChecks() {
    int count = 0;
    while (kBaselineChecks[count].name != nullptr) {
        ++count;
    }
    return count;
}

void addFailure(const Mismatch& m) {
    ADD_FAILURE() << m.operation << " of " << m.channelType << " in " << m.vectorBytes << " bytes (" << m.detail << ", "
                  << m.detail2 << "), lane " << m.lane << ": expected " << m.expected << ", is " << m.actual;
}

using Parameter = std::tuple<InstructionSet, int>;
class VectorTest : public testing::TestWithParam<Parameter> {};

TEST_P(VectorTest, GivesEachLaneItsValue) {
    const auto [set, index] = GetParam();
    if (!canRun(set)) {
        GTEST_SKIP() << "this processor has no " << fast::nameOf(set);
    }
    checksOf(set)[index].run({addFailure});
}

std::string nameOf(const testing::TestParamInfo<Parameter>& test) {
    const auto [set, index] = test.param;
    return std::string(fast::nameOf(set)) + "_" + checksOf(set)[index].name;
}

INSTANTIATE_TEST_SUITE_P(Sets, VectorTest,
                         testing::Combine(testing::ValuesIn(kTestedSets), testing::Range(0, countChecks())), nameOf);

}  // namespace
}  // namespace quorvel::test
