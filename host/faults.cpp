// SPDX-License-Identifier: MIT
#include "host/faults.h"

#include <utility>

namespace quorvel::host {

void Faults::refuse(std::string call, PF_Err error, int skip, int times) {
    const std::lock_guard lock(mutex_);
    refusals_.insert_or_assign(std::move(call), Refusal{error, skip, times});
}

void Faults::answerNull(std::string call) {
    const std::lock_guard lock(mutex_);
    nulls_.insert(std::move(call));
}

void Faults::hideSuite(std::string name, Hidden how) {
    const std::lock_guard lock(mutex_);
    hiddenSuites_.insert_or_assign(std::move(name), how);
}

void Faults::clear() {
    const std::lock_guard lock(mutex_);
    refusals_.clear();
    nulls_.clear();
    hiddenSuites_.clear();
}

std::optional<PF_Err> Faults::refusal(std::string_view call) {
    const std::lock_guard lock(mutex_);
    const auto found = refusals_.find(call);
    if (found == refusals_.end() || found->second.times == 0) {
        return std::nullopt;
    }
    Refusal& refusal = found->second;
    if (refusal.skip > 0) {
        --refusal.skip;
        return std::nullopt;
    }
    --refusal.times;
    return refusal.error;
}

bool Faults::answersNull(std::string_view call) const {
    const std::lock_guard lock(mutex_);
    return nulls_.contains(call);
}

std::optional<Hidden> Faults::hidden(std::string_view suite) const {
    const std::lock_guard lock(mutex_);
    const auto found = hiddenSuites_.find(suite);
    return found == hiddenSuites_.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace quorvel::host
