// SPDX-License-Identifier: MIT
#include "plugins/after_effects/parameters/param_index.h"

#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <stdexcept>

namespace quorvel {

namespace {

/// Which ids are known, a bit each, and their indices; never cleared. Written at parameter set-up, and by the first
/// lookup of an id that this host does not declare, which may come from the panel while other threads render.
std::atomic<std::uint32_t> knownIds;
std::array<std::atomic<int>, PARAM_COUNT> paramIdToIndex;

std::uint32_t bitOf(int id) {
    return 1U << static_cast<unsigned>(id);
}

}  // namespace

void addParam(int id) {
    paramIdToIndex[static_cast<std::size_t>(id)] = std::popcount(knownIds.load()) + 1;
    knownIds |= bitOf(id);
}

int getParamIndexFromId(int id) {
    if ((knownIds & bitOf(id)) == 0) {
        knownIds |= bitOf(id);
    }
    return paramIdToIndex[static_cast<std::size_t>(id)];
}

void verifyNumParams(int numParams) {
    if (std::popcount(knownIds.load()) != numParams - 1) {
        throw std::logic_error(
            "Reported parameter count does not match actual parameter count. This would lead to incorrect values.");
    }
}

PF_ParamDef* getParam(PF_InData* in_data, PF_ParamDef* params[], int id, PF_ParamDef* scratch) {
    return params != nullptr ? params[getParamIndexFromId(id)] : getLayerParam(in_data, id, scratch);
}

PF_ParamDef* getLayerParam(PF_InData* in_data, int id, PF_ParamDef* dest) {
    const PF_Err error =
        in_data->inter.checkout_param(in_data->effect_ref, getParamIndexFromId(id), in_data->current_time,
                                      in_data->time_step, in_data->time_scale, dest);
    if (error != PF_Err_NONE) {
        throw static_cast<int>(error);
    }
    return dest;
}

}  // namespace quorvel
