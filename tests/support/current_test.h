// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <string>

namespace quorvel::test {

/// Suite and name of the test that runs.
inline std::string currentTest() {
    const testing::TestInfo* test = testing::UnitTest::GetInstance()->current_test_info();
    return std::string(test->test_suite_name()) + "." + test->name();
}

}  // namespace quorvel::test
