// SPDX-License-Identifier: MIT
// Parameters as a module declares them, and their values at one time.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/world.h"
#include "sdk/pf_params.h"

namespace quorvel::host {

/// One declared parameter. Index 0 is the input layer, which the host itself adds.
struct Parameter {
    PF_ParamIndex index = 0;
    PF_ParamDef def{};                        ///< as given to add_param; popup texts are copied into `choices`
    std::vector<std::string> choices;         ///< a popup's choices in order
    std::optional<PF_CustomUIInfo> customUI;  ///< as given to register_ui right after it

    std::string name() const { return def.name; }
    A_long id() const { return def.uu.id; }
};

/// The values of all parameters at one time, stored in definitions. A module reads them, and may write their
/// user-interface flags. Copies share nothing but the borrowed layers.
class ParameterValues {
public:
    /// Every parameter at its default.
    explicit ParameterValues(const std::vector<Parameter>& declared);

    /// By index; index 0 is the input layer. Throws HostError when no parameter has it.
    PF_ParamDef& at(PF_ParamIndex index);
    const PF_ParamDef& at(PF_ParamIndex index) const;
    /// By the stable id that the module wrote into the definition. Throws HostError when no parameter has it.
    PF_ParamDef& byId(A_long id);
    PF_ParamIndex indexOf(A_long id) const;
    int count() const { return static_cast<int>(defs_.size()); }

    void setPopup(A_long id, A_long value);  ///< 1 is the first choice
    void setFloat(A_long id, double value);
    void setFixed(A_long id, PF_Fixed value);  ///< fixed sliders and angles, 16.16
    /// Chooses the layer of a layer parameter, null for none. Borrowed: it must outlive the frames that use it.
    void setLayer(A_long id, const World* layer);
    /// The chosen layer; null for none.
    const World* layer(PF_ParamIndex index) const;

private:
    std::vector<PF_ParamDef> defs_;
    std::map<PF_ParamIndex, const World*> layers_;
};

}  // namespace quorvel::host
