// SPDX-License-Identifier: MIT
// Faults on demand: any call into the host can fail, and any suite can be hidden.
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>

#include "sdk/pf_base.h"

namespace quorvel::host {

/// How AcquireSuite answers for a hidden suite.
enum class Hidden {
    WithError,  ///< an error and a null table
    WithNull,   ///< no error, but a null table
};

/// Calls are named as the module sees them: "checkout_param", "add_param", "utils.host_new_handle",
/// "PF Handle Suite.host_lock_handle", "checkout_layer", "DRAWBOT Surface Suite.DrawImage". A name followed by the
/// arguments, as the ledger records them ("checkout_param 6"), means those calls only.
/// A refused call that returns an error code returns the chosen error; one that returns a handle or an address returns
/// null, one that returns a size returns 0.
/// A refused call changes nothing, with one exception: a call that releases something (a suite, a parameter, pixels, a
/// lock, a handle) releases it anyway, since the module did its part.
/// Safe to use from several threads.
class Faults {
public:
    /// Lets `call` succeed `skip` times, then fail with `error` `times` times.
    void refuse(std::string call, PF_Err error, int skip = 0, int times = 1 << 30);
    /// Lets `call` succeed with a null object (a world, drawing reference, supplier, surface or image).
    void answerNull(std::string call);
    void hideSuite(std::string name, Hidden how = Hidden::WithError);
    /// Forgets every fault.
    void clear();

    /// For the host's callbacks: the error to answer with; empty to carry on.
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
