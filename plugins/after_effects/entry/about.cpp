// SPDX-License-Identifier: MIT
#include "plugins/after_effects/entry/about.h"

#include "plugins/after_effects/description/identity.h"

namespace quorvel {

void showAbout(PF_InData* in_data, PF_OutData* out_data) {
    in_data->utils->ansi.sprintf(out_data->return_msg, "%s, v%d.%d.%d\r%s", identity::kName,
                                 static_cast<int>(identity::kVersionMajor), static_cast<int>(identity::kVersionMinor),
                                 static_cast<int>(identity::kVersionBugfix), identity::kDescription);
}

}  // namespace quorvel
