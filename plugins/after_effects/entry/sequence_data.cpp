// SPDX-License-Identifier: MIT
#include "plugins/after_effects/entry/sequence_data.h"

#include <algorithm>
#include <cstring>

#include "plugins/after_effects/host_access/suite_handler.h"

namespace quorvel {

namespace {

/// Saved in projects, so its size never changes.
struct SequenceData {
    A_u_char reserved[240];
};
static_assert(sizeof(SequenceData) == 240);

PF_Err create(PF_InData* in_data, PF_OutData* out_data) {
    out_data->sequence_data = in_data->utils->host_new_handle(sizeof(SequenceData));
    if (out_data->sequence_data == nullptr || *out_data->sequence_data == nullptr) {
        in_data->utils->ansi.strcpy(out_data->return_msg, "Internal Error");
        out_data->out_flags |= PF_OutFlag_DISPLAY_ERROR_MESSAGE;
        return PF_Err_INTERNAL_STRUCT_DAMAGED;
    }
    out_data->flat_sdata_size = sizeof(SequenceData);
    std::memset(*out_data->sequence_data, 0, sizeof(SequenceData));
    return PF_Err_NONE;
}

/// Resizing in place may move the block, never the handle; a host that cannot do it leaves the old size.
void bringToSize(PF_InData* in_data) {
    if (in_data->utils->host_get_handle_size(in_data->sequence_data) != sizeof(SequenceData)) {
        in_data->utils->host_resize_handle(sizeof(SequenceData), &in_data->sequence_data);
    }
}

enum class OldHandle { Dispose, Keep };

PF_Err copyIntoNewHandle(PF_InData* in_data, PF_OutData* out_data, OldHandle old) {
    AEGP_SuiteHandler suites(in_data->pica_basicP);
    if (in_data->sequence_data == nullptr) {
        return PF_Err_INTERNAL_STRUCT_DAMAGED;
    }
    if (*in_data->sequence_data == nullptr) {
        return PF_Err_NONE;
    }
    const PF_HandleSuite* handles = suites.HandleSuite1();
    PF_Handle copy = handles->host_new_handle(sizeof(SequenceData));
    if (copy == nullptr) {
        return PF_Err_INTERNAL_STRUCT_DAMAGED;
    }
    void* block = handles->host_lock_handle(copy);
    if (block == nullptr) {
        return PF_Err_NONE;
    }
    // Data from elsewhere may be shorter than ours: what is missing is zero.
    const A_HandleSize held = handles->host_get_handle_size(in_data->sequence_data);
    std::memset(block, 0, sizeof(SequenceData));
    std::memcpy(block, *in_data->sequence_data, std::min<A_HandleSize>(held, sizeof(SequenceData)));
    if (old == OldHandle::Dispose) {
        handles->host_dispose_handle(in_data->sequence_data);
    }
    out_data->sequence_data = copy;
    handles->host_unlock_handle(copy);
    return PF_Err_NONE;
}

}  // namespace

PF_Err sequenceSetup(PF_InData* in_data, PF_OutData* out_data) {
    if (in_data->sequence_data != nullptr) {
        bringToSize(in_data);
        return PF_Err_NONE;
    }
    return create(in_data, out_data);
}

PF_Err sequenceResetup(PF_InData* in_data, PF_OutData* out_data) {
    return in_data->sequence_data != nullptr ? PF_Err_NONE : create(in_data, out_data);
}

PF_Err sequenceFlatten(PF_InData* in_data, PF_OutData* out_data) {
    return copyIntoNewHandle(in_data, out_data, OldHandle::Dispose);
}

PF_Err getFlattenedSequenceData(PF_InData* in_data, PF_OutData* out_data) {
    return copyIntoNewHandle(in_data, out_data, OldHandle::Keep);
}

PF_Err sequenceSetdown(PF_InData* in_data, PF_OutData* out_data) {
    if (in_data->sequence_data != nullptr) {
        bringToSize(in_data);
        in_data->utils->host_dispose_handle(in_data->sequence_data);
        out_data->sequence_data = nullptr;
        in_data->sequence_data = nullptr;
    }
    return PF_Err_NONE;
}

}  // namespace quorvel
