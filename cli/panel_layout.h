// SPDX-License-Identifier: MIT
// Where everything stands on the Effect Controls panel, in pixels at scale 1.
#pragma once

#include <vector>

#include "host/panel.h"
#include "host/parameter.h"

namespace quorvel::cli {

/// One parameter's row. Rows follow each other in the order of declaration.
struct PanelRow {
    const host::Parameter* parameter;
    int top;
    int height;
    host::Panel::Frames frames;  ///< of title and control; a title that the effect draws has its declared size
};

struct PanelLayout {
    int width;
    int height;
    int tabHeight;     ///< the panel's own strip at the top
    int headerHeight;  ///< the row below it with the effect's name
    int nameLeft;      ///< where the parameters' names begin
    int controlLeft;   ///< where their controls begin
    int margin;        ///< kept free at the right
    std::vector<PanelRow> rows;
};

/// Lays out the parameters that a host shows: all but the input layer. `declared` is borrowed by the result.
PanelLayout layOutPanel(const std::vector<host::Parameter>& declared);

}  // namespace quorvel::cli
