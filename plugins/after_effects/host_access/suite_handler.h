// SPDX-License-Identifier: MIT
// How the effect acquires and releases host suites. Every owner here lives for one command.
#pragma once

#include "sdk/pf_effect.h"

namespace quorvel {

/// Acquires suites on first use, keeps them, and releases them when destroyed.
/// Every accessor throws PF_Err_BAD_CALLBACK_PARAM (516) as an int when the host does not have the suite.
class AEGP_SuiteHandler {
public:
    /// A null `basic` throws 516.
    explicit AEGP_SuiteHandler(const SPBasicSuite* basic);
    ~AEGP_SuiteHandler();
    AEGP_SuiteHandler(const AEGP_SuiteHandler&) = delete;
    AEGP_SuiteHandler& operator=(const AEGP_SuiteHandler&) = delete;

    /// "PF Handle Suite" version 2.
    const PF_HandleSuite* HandleSuite1();
    /// "PF Param Utils Suite" version 3.
    const PF_ParamUtilsSuite* ParamUtilsSuite3();

    [[noreturn]] static void MissingSuiteError();

private:
    const SPBasicSuite* basic_;
    const PF_HandleSuite* handleSuite_ = nullptr;
    const PF_ParamUtilsSuite* paramUtilsSuite_ = nullptr;
};

/// Acquires one suite for the length of a scope, without a handler. False if the host does not have the suite.
template <typename Suite>
class ScopedSuite {
public:
    ScopedSuite(const PF_InData* in_data, const char* name, int version)
        : basic_(in_data->pica_basicP), name_(name), version_(version) {
        const void* suite = nullptr;
        if (basic_ != nullptr && basic_->AcquireSuite(name, version, &suite) == PF_Err_NONE) {
            suite_ = static_cast<const Suite*>(suite);
        }
    }
    ~ScopedSuite() {
        if (suite_ != nullptr) {
            basic_->ReleaseSuite(name_, version_);
        }
    }
    ScopedSuite(const ScopedSuite&) = delete;
    ScopedSuite& operator=(const ScopedSuite&) = delete;

    explicit operator bool() const { return suite_ != nullptr; }
    const Suite* operator->() const { return suite_; }

private:
    const SPBasicSuite* basic_;
    const char* name_;
    int version_;
    const Suite* suite_ = nullptr;
};

/// Shows the user "Not able to acquire AEFX Suite." (unless `out_data` is null) and throws A_Err_MISSING_SUITE (13)
/// as an int: the end of a command whose ScopedSuite is false.
[[noreturn]] void reportMissingSuite(const PF_InData* in_data, PF_OutData* out_data);

/// Grows `dst` to take in `src`. A rectangle without area is empty: an empty `dst` becomes `src`, an empty `src`
/// changes nothing else.
void UnionLRect(const PF_LRect* src, PF_LRect* dst);

}  // namespace quorvel
