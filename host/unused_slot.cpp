// SPDX-License-Identifier: MIT
#include "host/unused_slot.h"

#include "host/call.h"

namespace quorvel::host {

void unusedSlot() {
    if (const CurrentCall* call = CurrentCall::get()) {
        call->host.ledger.breach("called a function that this host does not implement");
    }
}

}  // namespace quorvel::host
