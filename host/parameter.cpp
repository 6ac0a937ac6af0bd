// SPDX-License-Identifier: MIT
#include "host/parameter.h"

#include <utility>

#include "host/base/error.h"

namespace quorvel::host {

namespace {

void setToDefault(PF_ParamDef& def) {
    switch (def.param_type) {
        case PF_Param_POPUP:
            def.u.pd.value = def.u.pd.dephault;
            break;
        case PF_Param_ANGLE:
            def.u.ad.value = def.u.ad.dephault;
            break;
        case PF_Param_FIX_SLIDER:
            def.u.fd.value = def.u.fd.dephault;
            break;
        case PF_Param_FLOAT_SLIDER:
            def.u.fs_d.value = static_cast<double>(def.u.fs_d.dephault);
            break;
        case PF_Param_LAYER:
            def.u.ld = PF_LayerDef{};
            break;
        default:
            break;
    }
}

}  // namespace

ParameterValues::ParameterValues(const std::vector<Parameter>& declared) {
    defs_.reserve(declared.size());
    for (const Parameter& parameter : declared) {
        setToDefault(defs_.emplace_back(parameter.def));
    }
}

PF_ParamDef& ParameterValues::at(PF_ParamIndex index) {
    return const_cast<PF_ParamDef&>(std::as_const(*this).at(index));
}

const PF_ParamDef& ParameterValues::at(PF_ParamIndex index) const {
    if (index < 0 || index >= count()) {
        throw HostError("no parameter has the index " + std::to_string(index));
    }
    return defs_[static_cast<std::size_t>(index)];
}

PF_ParamIndex ParameterValues::indexOf(A_long id) const {
    for (PF_ParamIndex index = 1; index < count(); ++index) {
        if (at(index).uu.id == id) {
            return index;
        }
    }
    throw HostError("no parameter has the id " + std::to_string(id));
}

PF_ParamDef& ParameterValues::byId(A_long id) {
    return at(indexOf(id));
}

void ParameterValues::setPopup(A_long id, A_long value) {
    byId(id).u.pd.value = value;
}

void ParameterValues::setFloat(A_long id, double value) {
    byId(id).u.fs_d.value = value;
}

void ParameterValues::setFixed(A_long id, PF_Fixed value) {
    PF_ParamDef& def = byId(id);
    if (def.param_type == PF_Param_ANGLE) {
        def.u.ad.value = value;
    } else {
        def.u.fd.value = value;
    }
}

void ParameterValues::setLayer(A_long id, const World* layer) {
    const PF_ParamIndex index = indexOf(id);
    layers_[index] = layer;
    at(index).u.ld = layer != nullptr ? layer->def() : PF_LayerDef{};
}

const World* ParameterValues::layer(PF_ParamIndex index) const {
    const auto found = layers_.find(index);
    return found == layers_.end() ? nullptr : found->second;
}

}  // namespace quorvel::host
