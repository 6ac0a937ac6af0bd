// SPDX-License-Identifier: MIT
#include "effect/params/param_index.h"

#include <map>
#include <stdexcept>

namespace quorvel {

namespace {

/// Written at parameter set-up only (but for lookups of undeclared ids) and never cleared.
std::map<int, int> paramIdToIndex;

}  // namespace

void addParam(int id) {
    const int index = static_cast<int>(paramIdToIndex.size()) + 1;
    paramIdToIndex[id] = index;
}

int getParamIndexFromId(int id) {
    const auto found = paramIdToIndex.find(id);
    return found != paramIdToIndex.end() ? found->second : paramIdToIndex.emplace(id, 0).first->second;
}

void verifyNumParams(int numParams) {
    if (static_cast<int>(paramIdToIndex.size()) != numParams - 1) {
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
