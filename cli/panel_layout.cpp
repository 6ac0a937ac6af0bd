// SPDX-License-Identifier: MIT
#include "cli/panel_layout.h"

#include <algorithm>

namespace quorvel::cli {
namespace {

constexpr int kWidth = 432;
constexpr int kMargin = 14;
constexpr int kTabHeight = 28;
constexpr int kHeaderHeight = 30;
constexpr int kNameLeft = 36;
constexpr int kControlLeft = 200;
constexpr int kRowHeight = 26;
constexpr int kControlPadding = 6;  ///< above and below what the effect draws
constexpr int kBottom = 8;

PF_LRect rectangle(int left, int top, int width, int height) {
    return {left, top, left + width, top + height};
}

}  // namespace

PanelLayout layOutPanel(const std::vector<host::Parameter>& declared) {
    PanelLayout layout{kWidth, 0, kTabHeight, kHeaderHeight, kNameLeft, kControlLeft, kMargin, {}};
    for (const host::Parameter& parameter : declared) {
        if (parameter.customUI && (parameter.def.ui_flags & PF_PUI_CONTROL) != 0) {
            layout.width = std::max(layout.width, kControlLeft + parameter.def.ui_width + kMargin);
        }
    }
    int top = kTabHeight + kHeaderHeight;
    for (const host::Parameter& parameter : declared) {
        if (parameter.index == 0 || (parameter.def.ui_flags & (PF_PUI_NO_ECW_UI | PF_PUI_INVISIBLE)) != 0) {
            continue;
        }
        const int drawnHeight = parameter.customUI ? parameter.def.ui_height : 0;
        const bool drawsTitle = parameter.customUI && (parameter.def.ui_flags & PF_PUI_TOPIC) != 0;
        const int height = std::max(kRowHeight, drawnHeight + 2 * kControlPadding);
        const int drawnTop = top + (height - drawnHeight) / 2;
        const int titleWidth = drawsTitle ? parameter.def.ui_width : kControlLeft - kNameLeft;
        const PF_LRect title = rectangle(drawsTitle ? kMargin : kNameLeft, drawsTitle ? drawnTop : top, titleWidth,
                                         drawsTitle ? drawnHeight : height);
        const bool drawsControl = parameter.customUI && !drawsTitle;
        const PF_LRect control = drawsControl
                                     ? rectangle(kControlLeft, drawnTop, parameter.def.ui_width, drawnHeight)
                                     : rectangle(kControlLeft, top, layout.width - kMargin - kControlLeft, height);
        layout.rows.push_back({&parameter, top, height, {title, control}});
        top += height;
    }
    layout.height = top + kBottom;
    return layout;
}

}  // namespace quorvel::cli
