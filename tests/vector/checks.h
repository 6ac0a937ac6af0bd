// SPDX-License-Identifier: MIT
// The checks of the fast renderer's vector building blocks. They are compiled once for each instruction set, as the
// kernels are, so they share no code with the test program but this interface.
#pragma once

namespace quorvel::test {

/// A lane that differs from what it should be. `detail` and `detail2` tell the case, such as widths of tiles.
struct Mismatch {
    const char* operation;
    const char* channelType;
    int vectorBytes;
    int detail;
    int detail2;
    int lane;
    double expected;
    double actual;
};

struct Reporter {
    void (*report)(const Mismatch& mismatch);
};

struct VectorCheck {
    const char* name;
    void (*run)(const Reporter& reporter);
};

/// One table per instruction set, each with the same checks. A null name ends it.
extern const VectorCheck kBaselineChecks[];
extern const VectorCheck kAvx2Checks[];
extern const VectorCheck kAvx512Checks[];

}  // namespace quorvel::test
