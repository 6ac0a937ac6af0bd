// SPDX-License-Identifier: MIT
// What the host has handed out and not got back, and every call the module made.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quorvel::host {

/// The kinds of thing that a module borrows from the host and has to give back.
enum class Loan {
    Suite,        ///< an acquired suite, named "PF Handle Suite 2"
    Handle,       ///< an allocated handle
    HandleLock,   ///< a lock on a handle
    Parameter,    ///< a parameter checked out with checkout_param, named by its index
    LayerPixels,  ///< a layer's pixels checked out in smart render, named by the checkout id
    DrawObject,   ///< a reference to a Drawbot object (images)
};

/// The word for a kind of loan, as reports print it ("suite", "handle", ...).
std::string_view loanName(Loan kind);

/// One line of the ledger: how many of a kind and name are out.
struct OpenLoan {
    Loan kind;
    std::string name;
    std::int64_t count;
    friend bool operator==(const OpenLoan&, const OpenLoan&) = default;
};

/// Keeps account of loans, of breaches of protocol, and (when asked) of the calls in their order.
/// Safe to use from several threads.
class Ledger {
public:
    void lend(Loan kind, std::string_view name);
    /// Takes one back; giving back what is not out is recorded as a breach.
    void takeBack(Loan kind, std::string_view name);
    /// The host's own clean-up of `count` loans (worlds taken back at the end of a command, handles at the end of
    /// a frame): never a breach.
    void forgive(Loan kind, std::string_view name, std::int64_t count);

    /// Everything still out, sorted by kind and name; empty when all is balanced.
    std::vector<OpenLoan> open() const;
    /// Everything the host had to clean up itself so far: what the module borrows for good by design shows here.
    std::vector<OpenLoan> forgiven() const;
    std::int64_t openCount(Loan kind, std::string_view name) const;

    /// Records a breach of the protocol by the module ("released suite X that it does not hold").
    void breach(std::string what);
    std::vector<std::string> breaches() const;

    /// While recording, every call into the host is noted by its name ("checkout_param 3", "AcquireSuite PF Handle
    /// Suite 2"). Off by default. Starting clears what was recorded.
    void startRecording();
    std::vector<std::string> stopRecording();
    /// Notes a call when recording is on.
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
