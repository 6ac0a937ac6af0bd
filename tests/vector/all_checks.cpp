// SPDX-License-Identifier: MIT
// The checks of the vector building blocks. This file is compiled once for each instruction set; QUORVEL_CHECKS names
// the table that it defines then. As in the kernels, everything has internal linkage, and no header is included that
// would leave a shared copy of a function behind.
#include "tests/vector/checks.h"

#include <cstdint>

#include "tests/vector/lanes-inl.h"
#include "tests/vector/tiles-inl.h"

namespace quorvel::test {

const VectorCheck QUORVEL_CHECKS[] = {
    {"LoadStoreSplat8", checkLoadStoreSplat<std::uint8_t>},
    {"LoadStoreSplat16", checkLoadStoreSplat<std::uint16_t>},
    {"LoadStoreSplatFloat", checkLoadStoreSplat<float>},
    {"Comparisons8", checkComparisons<std::uint8_t>},
    {"Comparisons16", checkComparisons<std::uint16_t>},
    {"ComparisonsFloat", checkComparisons<float>},
    {"PixelPermutations8", checkPixelPermutations<std::uint8_t>},
    {"PixelPermutations16", checkPixelPermutations<std::uint16_t>},
    {"PixelPermutationsFloat", checkPixelPermutations<float>},
    {"RegisterPermutations8", checkRegisterPermutations<std::uint8_t>},
    {"RegisterPermutations16", checkRegisterPermutations<std::uint16_t>},
    {"RegisterPermutationsFloat", checkRegisterPermutations<float>},
    {"Transposition8", checkTransposition<std::uint8_t>},
    {"Transposition16", checkTransposition<std::uint16_t>},
    {"TranspositionFloat", checkTransposition<float>},
    {"Units8", checkUnits<std::uint8_t>},
    {"Units16", checkUnits<std::uint16_t>},
    {"UnitsFloat", checkUnits<float>},
    {"Products8", checkProducts<std::uint8_t>},
    {"Products16", checkProducts<std::uint16_t>},
    {"Arrangement8", checkArrangement<std::uint8_t>},
    {"Arrangement16", checkArrangement<std::uint16_t>},
    {"ArrangementFloat", checkArrangement<float>},
    {"Reductions8", checkReductions<std::uint8_t>},
    {"Reductions16", checkReductions<std::uint16_t>},
    {"ReductionsFloat", checkReductions<float>},
    {"Averages8", checkAverages<std::uint8_t>},
    {"Averages16", checkAverages<std::uint16_t>},
    {"AveragesFloat", checkAverages<float>},
    {"BlockAverages8", checkBlockAverages<std::uint8_t>},
    {"BlockAverages16", checkBlockAverages<std::uint16_t>},
    {"BlockAveragesFloat", checkBlockAverages<float>},
    {nullptr, nullptr},
};

}  // namespace quorvel::test
