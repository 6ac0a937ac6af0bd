// SPDX-License-Identifier: MIT
#include "host/drawbot.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>

#include "host/session.h"
#include "host/suite_tables.h"

namespace quorvel::host {

namespace {

constexpr int kPixelBytes = 4;
/// What images are called in the ledger.
constexpr char kImageLoan[] = "image";

std::uint8_t roundedQuotient(int numerator, int denominator) {
    return static_cast<std::uint8_t>((numerator + denominator / 2) / denominator);
}

PF_Pixel8 over(const std::uint8_t* image, int alpha, const PF_Pixel8& below) {
    const int weight = alpha * 255;
    const int belowWeight = below.alpha * (255 - alpha);
    const int sum = weight + belowWeight;
    if (sum == 0) {
        return {0, image[2], image[1], image[0]};
    }
    const auto mix = [&](int top, int bottom) { return roundedQuotient(top * weight + bottom * belowWeight, sum); };
    return {roundedQuotient(sum, 255), mix(image[2], below.red), mix(image[1], below.green), mix(image[0], below.blue)};
}

}  // namespace

Surface::Surface(int width, int height, PF_Pixel8 background) : world_(Depth::Bits8, width, height) {
    for (int y = 0; y < height; ++y) {
        std::fill_n(&at(0, y), width, background);
    }
}

void Surface::draw(const DrawImage& image, float x, float y, float opacity) {
    const double left = std::floor(static_cast<double>(x) + 0.5);
    const double top = std::floor(static_cast<double>(y) + 0.5);
    // Written so that positions which are no numbers cut off everything, and before any conversion to an integer.
    if (!(left > -image.width && left < width() && top > -image.height && top < height())) {
        return;
    }
    const int originX = static_cast<int>(left);
    const int originY = static_cast<int>(top);
    const double strength = std::clamp(static_cast<double>(opacity), 0.0, 1.0);
    for (int row = std::max(0, -originY); row < std::min(image.height, height() - originY); ++row) {
        for (int column = std::max(0, -originX); column < std::min(image.width, width() - originX); ++column) {
            const std::uint8_t* pixel =
                image.pixels.data() + (static_cast<std::size_t>(row) * static_cast<std::size_t>(image.width) +
                                       static_cast<std::size_t>(column)) *
                                          kPixelBytes;
            PF_Pixel8& target = at(originX + column, originY + row);
            target = over(pixel, static_cast<int>(std::lround(pixel[3] * strength)), target);
        }
    }
}

DRAWBOT_ImageRef DrawImages::create(DrawImage image) {
    auto shared = std::make_shared<const DrawImage>(std::move(image));
    const auto reference = reinterpret_cast<DRAWBOT_ImageRef>(const_cast<DrawImage*>(shared.get()));
    ledger_.lend(Loan::DrawObject, kImageLoan);
    const std::lock_guard lock(mutex_);
    entries_.emplace(reference, Entry{std::move(shared)});
    return reference;
}

bool DrawImages::retain(DRAWBOT_ObjectRef object) {
    const std::lock_guard lock(mutex_);
    const auto found = entries_.find(object);
    if (found == entries_.end()) {
        return false;
    }
    ++found->second.references;
    ledger_.lend(Loan::DrawObject, kImageLoan);
    return true;
}

bool DrawImages::release(DRAWBOT_ObjectRef object) {
    const std::lock_guard lock(mutex_);
    const auto found = entries_.find(object);
    if (found == entries_.end()) {
        return false;
    }
    ledger_.takeBack(Loan::DrawObject, kImageLoan);
    if (--found->second.references == 0) {
        entries_.erase(found);
    }
    return true;
}

std::shared_ptr<const DrawImage> DrawImages::find(DRAWBOT_ImageRef image) const {
    const std::lock_guard lock(mutex_);
    const auto found = entries_.find(image);
    return found == entries_.end() ? nullptr : found->second.image;
}

namespace {

SPErr breach(const CurrentCall& call, const char* name, const char* what) {
    call.host.ledger.breach(std::string(name) + " " + what);
    return PF_Err_BAD_CALLBACK_PARAM;
}

/// Enters a drawing call: `given`, the object it is made on, has to be what `expected` finds in the draw event of this
/// thread. On success `call` is set and its event is being drawn.
template <typename Expected>
SPErr enterDrawing(const char* name, const void* given, Expected expected, CurrentCall*& call,
                   std::string_view detail = {}) {
    call = CurrentCall::get();
    if (call == nullptr) {
        return PF_Err_INVALID_CALLBACK;
    }
    if (const auto refused = enterCall(call->host, name, detail)) {
        return *refused;
    }
    const DrawEvent* event = call->frame != nullptr ? call->frame->event : nullptr;
    if (event == nullptr || !event->drawing) {
        return breach(*call, name, "outside a draw event");
    }
    if (given == nullptr) {
        return breach(*call, name, "with a null reference");
    }
    if (given != expected(*event)) {
        return breach(*call, name, "with an object that the host does not have");
    }
    return PF_Err_NONE;
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

/// Hands out one of the event's objects, or null when that is asked for.
template <typename Reference>
SPErr handOut(const CurrentCall& call, const char* name, const void* object, Reference* reference) {
    if (reference == nullptr) {
        return breach(call, name, "with nowhere to put the result");
    }
    *reference = call.host.faults.answersNull(name) ? nullptr : reinterpret_cast<Reference>(const_cast<void*>(object));
    return PF_Err_NONE;
}

PF_Err getDrawingReference(PF_ContextH context, DRAWBOT_DrawRef* reference) {
    constexpr char kName[] = "PF Effect Custom UI Suite.PF_GetDrawingReference";
    CurrentCall* call = nullptr;
    if (const SPErr error = enterDrawing(kName, context, contextOf, call)) {
        return error;
    }
    return handOut(*call, kName, drawingOf(*call->frame->event), reference);
}

SPErr getSupplier(DRAWBOT_DrawRef draw, DRAWBOT_SupplierRef* supplier) {
    constexpr char kName[] = "DRAWBOT Draw Suite.GetSupplier";
    CurrentCall* call = nullptr;
    if (const SPErr error = enterDrawing(kName, draw, drawingOf, call)) {
        return error;
    }
    return handOut(*call, kName, supplierOf(*call->frame->event), supplier);
}

SPErr getSurface(DRAWBOT_DrawRef draw, DRAWBOT_SurfaceRef* surface) {
    constexpr char kName[] = "DRAWBOT Draw Suite.GetSurface";
    CurrentCall* call = nullptr;
    if (const SPErr error = enterDrawing(kName, draw, drawingOf, call)) {
        return error;
    }
    return handOut(*call, kName, surfaceOf(*call->frame->event), surface);
}

SPErr newImageFromBuffer(DRAWBOT_SupplierRef supplier, int width, int height, int rowBytes, DRAWBOT_PixelLayout layout,
                         const void* pixels, DRAWBOT_ImageRef* image) {
    constexpr char kName[] = "DRAWBOT Supplier Suite.NewImageFromBuffer";
    CurrentCall* call = nullptr;
    if (const SPErr error = enterDrawing(kName, supplier, supplierOf, call)) {
        return error;
    }
    if (layout != kDRAWBOT_PixelLayout_32BGRA_Straight) {
        return breach(*call, kName, "with a pixel layout that this host does not take");
    }
    if (width < 1 || height < 1 || width > kMaximumDimension || height > kMaximumDimension ||
        rowBytes < width * kPixelBytes || pixels == nullptr || image == nullptr) {
        return breach(*call, kName, "with a size, a row length or a buffer that makes no picture");
    }
    *image = nullptr;
    if (call->host.faults.answersNull(kName)) {
        return PF_Err_NONE;
    }
    DrawImage copy{width, height, {}};
    const auto* row = static_cast<const std::uint8_t*>(pixels);
    for (int y = 0; y < height; ++y, row += rowBytes) {
        copy.pixels.insert(copy.pixels.end(), row, row + width * kPixelBytes);
    }
    *image = call->host.images.create(std::move(copy));
    return PF_Err_NONE;
}

SPErr retainObject(DRAWBOT_ObjectRef object) {
    constexpr char kName[] = "DRAWBOT Supplier Suite.RetainObject";
    CurrentCall* call = CurrentCall::get();
    if (call == nullptr) {
        return PF_Err_INVALID_CALLBACK;
    }
    if (const auto refused = enterCall(call->host, kName)) {
        return *refused;
    }
    return call->host.images.retain(object) ? PF_Err_NONE
                                            : breach(*call, kName, "with an object that the host does not have");
}

SPErr releaseObject(DRAWBOT_ObjectRef object) {
    constexpr char kName[] = "DRAWBOT Supplier Suite.ReleaseObject";
    CurrentCall* call = CurrentCall::get();
    if (call == nullptr) {
        return PF_Err_INVALID_CALLBACK;
    }
    // Released all the same when the call is refused: a refusal must not look like a leak of the module's.
    const auto refused = enterCall(call->host, kName);
    if (!call->host.images.release(object)) {
        return breach(*call, kName, "with an object that the host does not have");
    }
    return refused.value_or(PF_Err_NONE);
}

std::string placeName(const DRAWBOT_PointF32& point) {
    char text[64];
    (void)std::snprintf(text, sizeof text, "at %g,%g", static_cast<double>(point.x), static_cast<double>(point.y));
    return text;
}

SPErr drawImage(DRAWBOT_SurfaceRef surface, DRAWBOT_ImageRef image, const DRAWBOT_PointF32* origin, float alpha) {
    constexpr char kName[] = "DRAWBOT Surface Suite.DrawImage";
    CurrentCall* call = nullptr;
    const std::string where = origin != nullptr ? placeName(*origin) : "nowhere";
    if (const SPErr error = enterDrawing(kName, surface, surfaceOf, call, where)) {
        return error;
    }
    const auto picture = call->host.images.find(image);
    if (picture == nullptr || origin == nullptr) {
        return breach(*call, kName, picture == nullptr ? "with an image that the host does not have" : "at no place");
    }
    call->frame->event->surface->draw(*picture, origin->x, origin->y, alpha);
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
        auto table = filledWith<DRAWBOT_SupplierSuite>(unusedSlot);
        table.NewImageFromBuffer = newImageFromBuffer;
        table.RetainObject = retainObject;
        table.ReleaseObject = releaseObject;
        return table;
    }();
    return suite;
}

const DRAWBOT_SurfaceSuite& surfaceSuite() {
    static const DRAWBOT_SurfaceSuite suite = [] {
        auto table = filledWith<DRAWBOT_SurfaceSuite>(unusedSlot);
        table.DrawImage = drawImage;
        return table;
    }();
    return suite;
}

const DRAWBOT_PathSuite& pathSuite() {
    static const DRAWBOT_PathSuite suite = filledWith<DRAWBOT_PathSuite>(unusedSlot);
    return suite;
}

}  // namespace quorvel::host
