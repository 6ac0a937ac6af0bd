// SPDX-License-Identifier: MIT
#include "host/drawbot.h"

#include <cstdio>
#include <string>
#include <string_view>

#include "host/call.h"
#include "host/surface.h"
#include "host/unused_slot.h"

namespace quorvel::host {

namespace {

constexpr int kPixelBytes = 4;

/// Enters a drawing function. It requires a draw event on this thread, and `given`, the object that it is called with,
/// to be the one that `expected` finds in that event.
template <typename Expected>
EnteredCall enterDrawing(const char* name, const void* given, Expected expected, std::string_view detail = {}) {
    const EnteredCall entered = enterCall(name, detail);
    if (!entered) {
        return entered;
    }
    const auto refuse = [&](const char* what) { return EnteredCall{entered.call, breach(*entered.call, name, what)}; };
    const DrawEvent* event = entered.call->frame != nullptr ? entered.call->frame->event : nullptr;
    if (event == nullptr || !event->drawing) {
        return refuse("called outside a draw event");
    }
    if (given == nullptr) {
        return refuse("null reference");
    }
    if (given != expected(*event)) {
        return refuse("the object does not belong to this draw event");
    }
    return entered;
}

const void* contextOf(const DrawEvent& event) {
    return event.context;
}
const void* drawingOf(const DrawEvent& event) {
    return &event;
}
const void* supplierOf(const DrawEvent& event) {
    return &event.supplier;
}
const void* surfaceOf(const DrawEvent& event) {
    return event.surface;
}

/// Hands out one of the event's objects, or null when Faults wants that.
template <typename Reference>
SPErr handOut(const CurrentCall& call, const char* name, const void* object, Reference* reference) {
    if (reference == nullptr) {
        return breach(call, name, "null output pointer");
    }
    *reference = call.host.faults.answersNull(name) ? nullptr : reinterpret_cast<Reference>(const_cast<void*>(object));
    return PF_Err_NONE;
}

PF_Err getDrawingReference(PF_ContextH context, DRAWBOT_DrawRef* reference) {
    constexpr char kName[] = "PF Effect Custom UI Suite.PF_GetDrawingReference";
    const EnteredCall entered = enterDrawing(kName, context, contextOf);
    if (!entered) {
        return entered.error;
    }
    return handOut(*entered.call, kName, drawingOf(*entered.call->frame->event), reference);
}

SPErr getSupplier(DRAWBOT_DrawRef draw, DRAWBOT_SupplierRef* supplier) {
    constexpr char kName[] = "DRAWBOT Draw Suite.GetSupplier";
    const EnteredCall entered = enterDrawing(kName, draw, drawingOf);
    if (!entered) {
        return entered.error;
    }
    return handOut(*entered.call, kName, supplierOf(*entered.call->frame->event), supplier);
}

SPErr getSurface(DRAWBOT_DrawRef draw, DRAWBOT_SurfaceRef* surface) {
    constexpr char kName[] = "DRAWBOT Draw Suite.GetSurface";
    const EnteredCall entered = enterDrawing(kName, draw, drawingOf);
    if (!entered) {
        return entered.error;
    }
    return handOut(*entered.call, kName, surfaceOf(*entered.call->frame->event), surface);
}

SPErr newImageFromBuffer(DRAWBOT_SupplierRef supplier, int width, int height, int rowBytes, DRAWBOT_PixelLayout layout,
                         const void* pixels, DRAWBOT_ImageRef* image) {
    constexpr char kName[] = "DRAWBOT Supplier Suite.NewImageFromBuffer";
    const EnteredCall entered = enterDrawing(kName, supplier, supplierOf);
    if (!entered) {
        return entered.error;
    }
    CurrentCall& call = *entered.call;
    if (layout != kDRAWBOT_PixelLayout_32BGRA_Straight) {
        return breach(call, kName,
                      "pixel layout " + std::to_string(layout) + ": expected " +
                          std::to_string(kDRAWBOT_PixelLayout_32BGRA_Straight) + ", BGRA with straight alpha");
    }
    if (width < 1 || height < 1 || width > kMaximumDimension || height > kMaximumDimension) {
        return breach(call, kName,
                      "image of " + std::to_string(width) + "x" + std::to_string(height) + " pixels: expected 1 to " +
                          std::to_string(kMaximumDimension) + " in each direction");
    }
    if (rowBytes < width * kPixelBytes) {
        return breach(
            call, kName,
            "rows of " + std::to_string(rowBytes) + " bytes: expected at least " + std::to_string(width * kPixelBytes));
    }
    if (pixels == nullptr || image == nullptr) {
        return breach(call, kName, pixels == nullptr ? "null pixels" : "null output pointer");
    }
    *image = nullptr;
    if (call.host.faults.answersNull(kName)) {
        return PF_Err_NONE;
    }
    DrawImage copy{width, height, {}};
    const auto* row = static_cast<const std::uint8_t*>(pixels);
    for (int y = 0; y < height; ++y, row += rowBytes) {
        copy.pixels.insert(copy.pixels.end(), row, row + width * kPixelBytes);
    }
    *image = call.host.images.create(std::move(copy));
    return PF_Err_NONE;
}

constexpr char kNotAnObject[] = "not an object of this host";

SPErr retainObject(DRAWBOT_ObjectRef object) {
    constexpr char kName[] = "DRAWBOT Supplier Suite.RetainObject";
    const EnteredCall entered = enterCall(kName);
    if (!entered) {
        return entered.error;
    }
    return entered.call->host.images.retain(object) ? PF_Err_NONE : breach(*entered.call, kName, kNotAnObject);
}

SPErr releaseObject(DRAWBOT_ObjectRef object) {
    constexpr char kName[] = "DRAWBOT Supplier Suite.ReleaseObject";
    const EnteredCall entered = enterCall(kName);
    // A refused call releases the object too: a refusal must not look like a leak by the module.
    if (entered.call != nullptr && !entered.call->host.images.release(object)) {
        return breach(*entered.call, kName, kNotAnObject);
    }
    return entered.error;
}

std::string placeName(const DRAWBOT_PointF32* point) {
    if (point == nullptr) {
        return "at null";
    }
    char text[64];
    (void)std::snprintf(text, sizeof text, "at %g,%g", static_cast<double>(point->x), static_cast<double>(point->y));
    return text;
}

SPErr drawImage(DRAWBOT_SurfaceRef surface, DRAWBOT_ImageRef image, const DRAWBOT_PointF32* origin, float alpha) {
    constexpr char kName[] = "DRAWBOT Surface Suite.DrawImage";
    const EnteredCall entered = enterDrawing(kName, surface, surfaceOf, placeName(origin));
    if (!entered) {
        return entered.error;
    }
    const auto picture = entered.call->host.images.find(image);
    if (picture == nullptr || origin == nullptr) {
        return breach(*entered.call, kName, picture == nullptr ? "not an image of this host" : "null origin");
    }
    entered.call->frame->event->surface->draw(*picture, origin->x, origin->y, alpha);
    return PF_Err_NONE;
}

}  // namespace

const PF_EffectCustomUISuite& customUISuite() {
    static constexpr PF_EffectCustomUISuite suite{getDrawingReference};
    return suite;
}

const DRAWBOT_DrawbotSuite& drawSuite() {
    static constexpr DRAWBOT_DrawbotSuite suite{getSupplier, getSurface};
    return suite;
}

const DRAWBOT_SupplierSuite& supplierSuite() {
    static const DRAWBOT_SupplierSuite suite = [] {
        auto table = tableOfUnusedSlots<DRAWBOT_SupplierSuite>();
        table.NewImageFromBuffer = newImageFromBuffer;
        table.RetainObject = retainObject;
        table.ReleaseObject = releaseObject;
        return table;
    }();
    return suite;
}

const DRAWBOT_SurfaceSuite& surfaceSuite() {
    static const DRAWBOT_SurfaceSuite suite = [] {
        auto table = tableOfUnusedSlots<DRAWBOT_SurfaceSuite>();
        table.DrawImage = drawImage;
        return table;
    }();
    return suite;
}

const DRAWBOT_PathSuite& pathSuite() {
    static const DRAWBOT_PathSuite suite = tableOfUnusedSlots<DRAWBOT_PathSuite>();
    return suite;
}

}  // namespace quorvel::host
