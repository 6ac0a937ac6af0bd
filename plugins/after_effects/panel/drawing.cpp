// SPDX-License-Identifier: MIT
#include "plugins/after_effects/panel/drawing.h"

namespace quorvel {

namespace {

/// Borrows the custom-UI suite just long enough to ask for the context's drawing reference.
PF_Err drawingReference(PF_InData* in_data, PF_OutData* out_data, PF_ContextH context, DRAWBOT_DrawRef* reference) {
    const void* table = nullptr;
    PF_Err error =
        AEFX_AcquireSuite(in_data, out_data, kPFEffectCustomUISuite, kPFEffectCustomUISuiteVersion, nullptr, &table);
    if (error == PF_Err_NONE) {
        error = static_cast<const PF_EffectCustomUISuite*>(table)->PF_GetDrawingReference(context, reference);
        AEFX_ReleaseSuite(in_data, out_data, kPFEffectCustomUISuite, kPFEffectCustomUISuiteVersion, nullptr);
    }
    return error;
}

}  // namespace

Drawing::Drawing(PF_InData* in_data, PF_OutData* out_data, PF_EventExtra* extra)
    : in_data_(in_data), out_data_(out_data), extra_(extra) {
    DRAWBOT_DrawRef reference = nullptr;
    error_ = AEFX_AcquireDrawbotSuites(in_data, out_data, &suites_);
    if (error_ == PF_Err_NONE) {
        error_ = drawingReference(in_data, out_data, extra->contextH, &reference);
    }
    if (error_ == PF_Err_NONE) {
        error_ = suites_.draw->GetSupplier(reference, &supplier_);
    }
    if (error_ == PF_Err_NONE) {
        error_ = suites_.draw->GetSurface(reference, &surface_);
    }
}

Drawing::~Drawing() {
    if (!finished_) {
        AEFX_ReleaseDrawbotSuites(in_data_, out_data_);
    }
}

void Drawing::drawImage(const std::uint8_t* pixels, int width, int height, A_long left, A_long top) {
    DRAWBOT_ImageRef image = nullptr;
    if (error_ == PF_Err_NONE) {
        error_ = suites_.supplier->NewImageFromBuffer(supplier_, width, height, width * 4,
                                                      kDRAWBOT_PixelLayout_32BGRA_Straight, pixels, &image);
    }
    if (error_ == PF_Err_NONE) {
        const DRAWBOT_PointF32 origin{static_cast<float>(left), static_cast<float>(top)};
        error_ = suites_.surface->DrawImage(surface_, image, &origin, 1.0F);
    }
    if (image != nullptr) {
        keepFirst(suites_.supplier->ReleaseObject(reinterpret_cast<DRAWBOT_ObjectRef>(image)));
    }
}

PF_Err Drawing::finish() {
    finished_ = true;
    keepFirst(AEFX_ReleaseDrawbotSuites(in_data_, out_data_));
    if (error_ == PF_Err_NONE) {
        extra_->evt_out_flags = PF_EO_HANDLED_EVENT;
    }
    return error_;
}

}  // namespace quorvel
