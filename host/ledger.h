// SPDX-License-Identifier: MIT
// Everything that the host lent to the module and the module has not released, and every call the module made.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quorvel::host {

/// What a module borrows from the host and must release.
enum class Loan {
    Suite,        ///< an acquired suite, named "PF Handle Suite 2"
    Handle,       ///< an allocated handle, named after its size, "240 bytes"
    HandleLock,   ///< a lock on a handle, named after the handle's first size
    Parameter,    ///< a parameter checked out with checkout_param, named after its index
    LayerPixels,  ///< a layer's pixels checked out in smart render, named after the checkout id
    DrawObject,   ///< a reference to a Drawbot object; all are images
};

/// A kind of loan as reports print it: "suite", "handle", ...
std::string_view loanName(Loan kind);

/// The number of loans of one kind and name.
struct OpenLoan {
    Loan kind;
    std::string name;
    std::int64_t count;
    friend bool operator==(const OpenLoan&, const OpenLoan&) = default;
};

/// Keeps account of loans and of breaches of the protocol, and on request of the calls in their order. Safe to use from
/// several threads.
class Ledger {
public:
    void lend(Loan kind, std::string_view name);
    /// Ends one loan. Without such a loan, records a breach.
    void takeBack(Loan kind, std::string_view name);
    /// The host itself ends up to `count` loans, such as pixels at the end of a command and handles at the end of a
    /// frame. Never a breach.
    void forgive(Loan kind, std::string_view name, std::int64_t count);

    /// All current loans, sorted by kind and name.
    std::vector<OpenLoan> open() const;
    /// All loans that the host itself ended so far. What the module never releases, by design or by mistake, shows
    /// here.
    std::vector<OpenLoan> forgiven() const;
    std::int64_t openCount(Loan kind, std::string_view name) const;

    /// Records a breach of the protocol by the module: "checkout_layer: null request".
    void breach(std::string what);
    std::vector<std::string> breaches() const;

    /// Records every call into the host with its arguments: "checkout_param 3", "AcquireSuite PF Handle Suite 2". Off
    /// at first. Starting clears the recording, stopping returns it.
    void startRecording();
    std::vector<std::string> stopRecording();
    /// Adds a call to the recording if it is on.
    void note(std::string_view call);
    bool recording() const;

private:
    mutable std::mutex mutex_;
    std::map<std::pair<Loan, std::string>, std::int64_t> open_;
    std::map<std::pair<Loan, std::string>, std::int64_t> forgiven_;
    std::vector<std::string> breaches_;
    std::vector<std::string> calls_;
    bool recording_ = false;
};

}  // namespace quorvel::host
