// SPDX-License-Identifier: MIT
// The sequence that both custom controls go through to put one finished picture on the panel.
#pragma once

#include <cstdint>

#include "plugins/after_effects/panel/drawbot_suites.h"

namespace quorvel {

/// One draw event's access to Drawbot: acquires the suites, draws, and releases the suites. After the first error,
/// which is kept, only releases are still sent to the host.
class Drawing {
public:
    /// Acquires the suites, and gets the context's drawing reference, its supplier and its surface.
    Drawing(PF_InData* in_data, PF_OutData* out_data, PF_EventExtra* extra);
    /// Releases the suites if finish() has not, because an exception was thrown.
    ~Drawing();
    Drawing(const Drawing&) = delete;
    Drawing& operator=(const Drawing&) = delete;

    /// Puts width x height straight-alpha BGRA pixels at (left, top), 1:1. The host copies them.
    void drawImage(const std::uint8_t* pixels, int width, int height, A_long left, A_long top);

    /// Releases the suites, marks the event as handled if there was no error, and returns the first error.
    [[nodiscard]] PF_Err finish();

private:
    void keepFirst(PF_Err error) { error_ = error_ != PF_Err_NONE ? error_ : error; }

    PF_InData* in_data_;
    PF_OutData* out_data_;
    PF_EventExtra* extra_;
    DrawbotSuites suites_{};
    DRAWBOT_SupplierRef supplier_ = nullptr;
    DRAWBOT_SurfaceRef surface_ = nullptr;
    PF_Err error_ = PF_Err_NONE;
    bool finished_ = false;
};

}  // namespace quorvel
