// SPDX-License-Identifier: MIT
#include "host/ledger.h"

#include <algorithm>

namespace quorvel::host {

std::string_view loanName(Loan kind) {
    switch (kind) {
        case Loan::Suite:
            return "suite";
        case Loan::Handle:
            return "handle";
        case Loan::HandleLock:
            return "handle lock";
        case Loan::Parameter:
            return "parameter";
        case Loan::LayerPixels:
            return "layer pixels";
        case Loan::DrawObject:
            return "drawing object";
    }
    return "loan";
}

void Ledger::lend(Loan kind, std::string_view name) {
    const std::lock_guard lock(mutex_);
    ++open_[{kind, std::string(name)}];
}

void Ledger::takeBack(Loan kind, std::string_view name) {
    const std::lock_guard lock(mutex_);
    const auto found = open_.find({kind, std::string(name)});
    if (found == open_.end()) {
        breaches_.push_back(std::string(loanName(kind)) + " \"" + std::string(name) + "\" released but never acquired");
        return;
    }
    if (--found->second == 0) {
        open_.erase(found);
    }
}

void Ledger::forgive(Loan kind, std::string_view name, std::int64_t count) {
    const std::lock_guard lock(mutex_);
    const auto found = open_.find({kind, std::string(name)});
    if (found == open_.end()) {
        return;
    }
    const std::int64_t forgiven = std::min(count, found->second);
    forgiven_[found->first] += forgiven;
    if ((found->second -= forgiven) == 0) {
        open_.erase(found);
    }
}

namespace {

std::vector<OpenLoan> listed(const std::map<std::pair<Loan, std::string>, std::int64_t>& loans) {
    std::vector<OpenLoan> list;
    list.reserve(loans.size());
    for (const auto& [key, count] : loans) {
        list.push_back({key.first, key.second, count});
    }
    return list;
}

}  // namespace

std::vector<OpenLoan> Ledger::open() const {
    const std::lock_guard lock(mutex_);
    return listed(open_);
}

std::vector<OpenLoan> Ledger::forgiven() const {
    const std::lock_guard lock(mutex_);
    return listed(forgiven_);
}

std::int64_t Ledger::openCount(Loan kind, std::string_view name) const {
    const std::lock_guard lock(mutex_);
    const auto found = open_.find({kind, std::string(name)});
    return found == open_.end() ? 0 : found->second;
}

void Ledger::breach(std::string what) {
    const std::lock_guard lock(mutex_);
    breaches_.push_back(std::move(what));
}

std::vector<std::string> Ledger::breaches() const {
    const std::lock_guard lock(mutex_);
    return breaches_;
}

void Ledger::startRecording() {
    const std::lock_guard lock(mutex_);
    calls_.clear();
    recording_ = true;
}

std::vector<std::string> Ledger::stopRecording() {
    const std::lock_guard lock(mutex_);
    recording_ = false;
    return std::move(calls_);
}

void Ledger::note(std::string_view call) {
    const std::lock_guard lock(mutex_);
    if (recording_) {
        calls_.emplace_back(call);
    }
}

bool Ledger::recording() const {
    const std::lock_guard lock(mutex_);
    return recording_;
}

}  // namespace quorvel::host
