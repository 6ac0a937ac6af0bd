// SPDX-License-Identifier: MIT
// Parameters as a module declares them, and the values of one instance at one time.
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

/// One declared parameter. Index 0 is the input layer, which the host adds itself.
struct Parameter {
    PF_ParamIndex index = 0;
    PF_ParamDef def{};                        ///< as given to add_param; popup texts are copied into `choices`
    std::vector<std::string> choices;         ///< a popup's choices in order
    std::optional<PF_CustomUIInfo> customUI;  ///< as given to register_ui right after it

    std::string name() const { return def.name; }
    A_long id() const { return def.uu.id; }
};

/// The values of all parameters at one time, as definitions that a module may read and (for their user-interface
/// flags) write. Copies share nothing.
class ParameterValues {
public:
    /// Every parameter at its default.
    explicit ParameterValues(const std::vector<Parameter>& declared);

    /// By index in the host's order; index 0 is the input layer. Throws HostError when there is none.
    PF_ParamDef& at(PF_ParamIndex index);
    const PF_ParamDef& at(PF_ParamIndex index) const;
    /// By the stable id the module wrote into the definition. Throws HostError when there is none.
    PF_ParamDef& byId(A_long id);
    PF_ParamIndex indexOf(A_long id) const;
    int count() const { return static_cast<int>(defs_.size()); }

    void setPopup(A_long id, A_long value);
    void setFloat(A_long id, double value);
    void setFixed(A_long id, PF_Fixed value);  ///< fixed sliders and angles, 16.16
    /// The layer chosen in a layer parameter; null for none. Borrowed: it must outlive the frames that use it.
    void setLayer(A_long id, const World* layer);
    const World* layer(PF_ParamIndex index) const;

private:
    std::vector<PF_ParamDef> defs_;
    std::map<PF_ParamIndex, const World*> layers_;
};

}  // namespace quorvel::host
