// SPDX-License-Identifier: MIT
// Refusals: any call into the host, and any suite, can be made to fail on demand.
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "sdk/pf_base.h"

namespace quorvel::host {

/// How a hidden suite shows itself to AcquireSuite.
enum class Hidden {
    WithError,  ///< an error and a null table
    WithNull,   ///< no error, but a null table
};

/// Calls are named as the module sees them: "checkout_param", "add_param", "utils.host_new_handle",
/// "PF Handle Suite.host_lock_handle", "checkout_layer", "DRAWBOT Surface Suite.DrawImage". A name followed by the
/// arguments as the ledger notes them ("checkout_param 6") means those calls only.
/// Calls that return a handle or an address answer null when refused, sizes 0; those with an error code return it.
/// A refused call changes nothing, but what it was to give back (suites, parameters, pixels, locks, handles) counts as
/// given back all the same: the module has done its part.
/// Safe to use from several threads.
class Faults {
public:
    /// From the (skip+1)-th time on, `call` fails with `error`, `times` times.
    void refuse(std::string call, PF_Err error, int skip = 0, int times = 1 << 30);
    /// Succeeds but hands out a null object (worlds, drawing references, suppliers, surfaces, images).
    void answerNull(std::string call);
    void hideSuite(std::string name, Hidden how = Hidden::WithError);
    void clear();

    /// Used by the host's callbacks. The error to answer with, or nothing to carry on.
    std::optional<PF_Err> refusal(std::string_view call);
    bool answersNull(std::string_view call) const;
    std::optional<Hidden> hidden(std::string_view suite) const;

private:
    struct Refusal {
        PF_Err error;
        int skip;
        int times;
    };
    mutable std::mutex mutex_;
    std::map<std::string, Refusal, std::less<>> refusals_;
    std::set<std::string, std::less<>> nulls_;
    std::map<std::string, Hidden, std::less<>> hiddenSuites_;
};

}  // namespace quorvel::host
