// SPDX-License-Identifier: MIT
#include "plugins/after_effects/frames/frame.h"

#include <bit>

#include "effect/depth.h"
#include "effect/fast/render.h"
#include "plugins/after_effects/host_access/host_query.h"
#include "plugins/after_effects/host_access/suite_handler.h"
#include "plugins/after_effects/parameters/param_index.h"
#include "sdk/premiere.h"

namespace quorvel {

namespace {

/// Row strides travel in channels of the depth: bytes shifted right, keeping the sign.
template <typename T>
std::ptrdiff_t strideInChannels(const PF_LayerDef& world) {
    return world.rowbytes >> std::countr_zero(sizeof(T));
}

template <typename T>
PixelView<T> viewOf(const PF_LayerDef& world) {
    return {reinterpret_cast<T*>(world.data), world.width, world.height, strideInChannels<T>(world)};
}

template <typename Depth>
void renderFrame(PF_LayerDef* input, PF_LayerDef* output, const ParamValues& values) {
    using T = typename Depth::Channel;
    if (input->data == nullptr || output == nullptr || output->data == nullptr) {
        return;
    }
    IntensityLayer<T> layer;
    if (values.intensityLayer != nullptr && values.intensityLayer->data != nullptr) {
        layer = {viewOf<const T>(*values.intensityLayer), output->origin_x, output->origin_y};
    }
    fast::render<Depth>(viewOf<T>(*output), viewOf<const T>(*input), values.settings, layer);
}

/// The horizontal preview resolution: 1 when full, 0.5 when half.
float downsampleFactor(const PF_InData* in_data) {
    return static_cast<float>(in_data->downsample_x.num) / static_cast<float>(in_data->downsample_x.den);
}

}  // namespace

void initRender(PF_InData*, PF_OutData*) {}

void cleanUpRender(PF_InData*, PF_OutData*) {}

void renderARGB8(PF_LayerDef* input, PF_LayerDef* output, ParamValues values, [[maybe_unused]] float downsample) {
    renderFrame<Depth8>(input, output, values);
}

void renderARGB16(PF_LayerDef* input, PF_LayerDef* output, ParamValues values, [[maybe_unused]] float downsample) {
    renderFrame<Depth16>(input, output, values);
}

void renderARGB32(PF_LayerDef* input, PF_LayerDef* output, ParamValues values, [[maybe_unused]] float downsample) {
    renderFrame<DepthFloat>(input, output, values);
}

PF_Err smartPreRender(PF_InData* in_data, PF_OutData* out_data, PF_PreRenderExtra* extra) {
    PF_RenderRequest request = extra->input->output_request;
    const ScopedSuite<PF_HandleSuite> handles(in_data, kPFHandleSuite, kPFHandleSuiteVersion);
    if (!handles) {
        reportMissingSuite(in_data, out_data);
    }

    PF_Handle record = handles->host_new_handle(sizeof(ParamValues));
    if (record == nullptr) {
        return PF_Err_OUT_OF_MEMORY;
    }
    auto* values = static_cast<ParamValues*>(handles->host_lock_handle(record));
    if (values == nullptr) {
        return PF_Err_INTERNAL_STRUCT_DAMAGED;
    }
    LoadParamValues(in_data, nullptr, extra, values);
    // The host owns the handle from here on. No deletion function is given: it is a handle, not a plain block.
    extra->output->pre_render_data = record;

    PF_CheckoutResult input{};
    const PF_Err error = extra->cb->checkout_layer(in_data->effect_ref, 0, 0, &request, in_data->current_time,
                                                   in_data->time_step, in_data->time_scale, &input);
    UnionLRect(&input.result_rect, &extra->output->result_rect);
    UnionLRect(&input.max_result_rect, &extra->output->max_result_rect);
    handles->host_unlock_handle(record);
    return error;
}

PF_Err smartRender(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[], PF_SmartRenderExtra* extra) {
    const ScopedSuite<PF_HandleSuite> handles(in_data, kPFHandleSuite, kPFHandleSuiteVersion);
    if (!handles) {
        reportMissingSuite(in_data, out_data);
    }
    const auto record = static_cast<PF_Handle>(extra->input->pre_render_data);
    auto* values = record != nullptr ? static_cast<ParamValues*>(handles->host_lock_handle(record)) : nullptr;
    if (values == nullptr) {
        return PF_Err_INTERNAL_STRUCT_DAMAGED;
    }

    PF_EffectWorld* input = nullptr;
    PF_EffectWorld* output = nullptr;
    PF_Err error = extra->cb->checkout_layer_pixels(in_data->effect_ref, 0, &input);
    if (error == PF_Err_NONE) {
        error = extra->cb->checkout_output(in_data->effect_ref, &output);
    }
    if (input == nullptr || output == nullptr) {
        return error;
    }

    LoadLayerParamsAE(in_data, extra, values);
    const float downsample = downsampleFactor(in_data);
    PF_PixelFormat format = PF_PixelFormat_INVALID;
    const ScopedSuite<PF_WorldSuite> worlds(in_data, kPFWorldSuite, kPFWorldSuiteVersion);
    if (!worlds) {
        reportMissingSuite(in_data, out_data);
    }
    if (error == PF_Err_NONE) {
        error = worlds->PF_GetPixelFormat(input, &format);
    }
    switch (format) {
        case PF_PixelFormat_ARGB128:
            renderARGB32(input, output, *values, downsample);
            break;
        case PF_PixelFormat_ARGB64:
            renderARGB16(input, output, *values, downsample);
            break;
        case PF_PixelFormat_ARGB32:
            renderARGB8(input, output, *values, downsample);
            break;
        default:
            error = PF_Err_UNRECOGNIZED_PARAM_TYPE;
            break;
    }

    CleanupLayerParams(in_data, params, extra, values);
    const PF_Err checkinError = extra->cb->checkin_layer_pixels(in_data->effect_ref, 0);
    handles->host_unlock_handle(record);
    return error != PF_Err_NONE ? error : checkinError;
}

PF_Err render(PF_InData* in_data, PF_OutData* out_data, PF_ParamDef* params[], PF_LayerDef* output) {
    if (!isPremierePro(in_data)) {
        return PF_Err_NONE;
    }
    ParamValues values;
    LoadParamValues(in_data, params, nullptr, &values);
    const ScopedSuite<PF_PixelFormatSuite> formats(in_data, kPFPixelFormatSuite, kPFPixelFormatSuiteVersion);
    if (!formats) {
        reportMissingSuite(in_data, out_data);
    }

    // After a failed check-out the layer has no pixels. Its error is the result, and the command continues.
    PF_ParamDef input{};
    PF_Err error = in_data->inter.checkout_param(in_data->effect_ref, 0, in_data->current_time, in_data->time_step,
                                                 in_data->time_scale, &input);
    const float downsample = downsampleFactor(in_data);
    PrPixelFormat format = PrPixelFormat_ARGB_4444_8u;
    formats->GetPixelFormat(output, &format);
    switch (format) {
        case PrPixelFormat_ARGB_4444_32f:
            renderARGB32(&input.u.ld, output, values, downsample);
            break;
        case PrPixelFormat_ARGB_4444_16u:
            renderARGB16(&input.u.ld, output, values, downsample);
            break;
        case PrPixelFormat_ARGB_4444_8u:
            renderARGB8(&input.u.ld, output, values, downsample);
            break;
        default:
            error = PF_Err_UNRECOGNIZED_PARAM_TYPE;
            break;
    }
    CleanupLayerParams(in_data, params, nullptr, &values);
    return error;
}

}  // namespace quorvel
