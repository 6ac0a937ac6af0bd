// SPDX-License-Identifier: MIT
#include "cli/video/av.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <new>

namespace quorvel::cli::av {
namespace {

std::mutex messageMutex;
std::string lastMessage;

void keepMessage(void* context, int level, const char* format, va_list values) {
    if (level > AV_LOG_ERROR) {
        return;
    }
    if (context != nullptr && *static_cast<const AVClass**>(context) == avcodec_get_class()) {
        if (void* const complaints = static_cast<AVCodecContext*>(context)->opaque) {
            ++*static_cast<Complaints*>(complaints);
        }
    }
    std::array<char, 512> line{};
    (void)std::vsnprintf(line.data(), line.size(), format, values);
    std::string text = line.data();
    text.erase(text.find_last_not_of(" .\r\n") + 1);
    const std::lock_guard lock(messageMutex);
    if (!text.empty()) {
        lastMessage = text;
    }
}

template <typename Pointer>
Pointer notNull(Pointer pointer) {
    if (!pointer) {
        throw std::bad_alloc();
    }
    return pointer;
}

}  // namespace

FramePtr newFrame() {
    return notNull(FramePtr(av_frame_alloc()));
}

PacketPtr newPacket() {
    return notNull(PacketPtr(av_packet_alloc()));
}

FramePtr sharedFrame(const AVFrame& frame) {
    return notNull(FramePtr(av_frame_clone(&frame)));
}

FramePtr newFrame(AVPixelFormat format, int width, int height) {
    FramePtr frame = newFrame();
    frame->format = format;
    frame->width = width;
    frame->height = height;
    if (av_frame_get_buffer(frame.get(), 0) < 0) {
        throw std::bad_alloc();
    }
    return frame;
}

std::string reasonText(int error) {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(error, text.data(), text.size());
    return text.data();
}

Failure failure(const std::string& file, const std::string& what, int error) {
    const bool fromSystem = error > -256;
    const std::lock_guard lock(messageMutex);
    // The system's errors say more than what the libraries make of them, but for those that libraries use for more.
    const bool exact = fromSystem && error != AVERROR(EINVAL) && error != AVERROR(EIO) && error != AVERROR(EBUSY);
    return Failure("{}: {}: {}", file, what, exact || lastMessage.empty() ? reasonText(error) : lastMessage);
}

void keepMessages() {
    av_log_set_callback(keepMessage);
}

void forgetMessages() {
    const std::lock_guard lock(messageMutex);
    lastMessage.clear();
}

const AVPixFmtDescriptor& describe(AVPixelFormat format) {
    const AVPixFmtDescriptor* description = av_pix_fmt_desc_get(format);
    if (description == nullptr) {
        throw Failure("a frame has no pixel format");
    }
    return *description;
}

}  // namespace quorvel::cli::av
