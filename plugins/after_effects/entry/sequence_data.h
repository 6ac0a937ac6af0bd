// SPDX-License-Identifier: MIT
// The effect's per-instance data: one host handle of 240 bytes whose content nobody reads, created, copied and freed
// on the host's main thread. The host owns the handle between commands.
#pragma once

#include "sdk/pf_effect.h"

namespace quorvel {

/// A new instance, or one read from an old project: creates the data, or brings its size to 240 bytes.
PF_Err sequenceSetup(PF_InData* in_data, PF_OutData* out_data);
/// An instance was loaded or duplicated: creates the data when there is none.
PF_Err sequenceResetup(PF_InData* in_data, PF_OutData* out_data);
/// Before saving: the data is replaced by a copy in a new handle.
/// Throws 516 as an int when the host has no handle suite.
PF_Err sequenceFlatten(PF_InData* in_data, PF_OutData* out_data);
/// As sequenceFlatten, but the instance keeps its own data and goes on with it.
PF_Err getFlattenedSequenceData(PF_InData* in_data, PF_OutData* out_data);
/// The instance goes away: frees the data.
PF_Err sequenceSetdown(PF_InData* in_data, PF_OutData* out_data);

}  // namespace quorvel
