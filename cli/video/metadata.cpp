// SPDX-License-Identifier: MIT
#include "cli/video/metadata.h"

extern "C" {
#include <libavutil/mem.h>
#include <libavutil/timecode.h>
}

#include <array>
#include <cstring>
#include <new>
#include <string_view>

namespace quorvel::cli {
namespace {

/// True of the input file alone.
constexpr const char* kOwnEntries[] = {"major_brand", "minor_version", "compatible_brands", "encoder",
                                       "duration",    "rotate",        "vendor_id",         "number_of_frames"};

void copyEntries(const AVDictionary* from, AVDictionary** to) {
    for (const AVDictionaryEntry* entry = nullptr;
         (entry = av_dict_get(from, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr;) {
        av_dict_set(to, entry->key, entry->value, 0);
    }
    for (const char* own : kOwnEntries) {
        av_dict_set(to, own, nullptr, 0);
    }
}

/// The time code of a later frame.
void advanceTimecode(AVDictionary** entries, AVRational rate, int frames) {
    const AVDictionaryEntry* entry = av_dict_get(*entries, "timecode", nullptr, 0);
    AVTimecode timecode;
    if (frames == 0 || entry == nullptr || av_timecode_init_from_string(&timecode, rate, entry->value, nullptr) < 0) {
        return;
    }
    std::array<char, AV_TIMECODE_STR_SIZE> text{};
    av_timecode_make_string(&timecode, text.data(), frames);
    av_dict_set(entries, "timecode", text.data(), 0);
}

void copyChapter(const AVChapter& from, std::int64_t start, AVFormatContext& to) {
    auto* chapter = static_cast<AVChapter*>(av_mallocz(sizeof(AVChapter)));
    if (chapter == nullptr) {
        throw std::bad_alloc();
    }
    const std::int64_t zero = av_rescale_q(start, {1, AV_TIME_BASE}, from.time_base);
    chapter->id = from.id;
    chapter->time_base = from.time_base;
    chapter->start = from.start - zero;
    chapter->end = from.end - zero;
    av_dict_copy(&chapter->metadata, from.metadata, 0);
    int count = static_cast<int>(to.nb_chapters);
    av_dynarray_add(&to.chapters, &count, chapter);
    to.nb_chapters = static_cast<unsigned>(count);
}

void copySideData(AVPacketSideDataType type, const std::uint8_t* data, std::size_t size, AVStream& to) {
    std::uint8_t* copy = data != nullptr ? av_stream_new_side_data(&to, type, size) : nullptr;
    if (copy != nullptr) {
        std::memcpy(copy, data, size);
    }
}

}  // namespace

void copyMetadata(const Input& source, bool part, int firstFrame, AVFormatContext& to) {
    const AVFormatContext& from = source.demuxer().context();
    copyEntries(from.metadata, &to.metadata);
    advanceTimecode(&to.metadata, source.frameRate(), firstFrame);
    for (unsigned i = 0; i < from.nb_chapters && !part; ++i) {
        copyChapter(*from.chapters[i], source.startTime(), to);
    }
}

void nameLanguageFor(const Container& container, AVDictionary*& entries) {
    // QuickTime has numbers for languages, which FFmpeg finds by other codes than those of ISO 639-2/T.
    constexpr std::array<std::array<const char*, 2>, 8> codes{{{"deu", "ger"},
                                                               {"ell", "gre"},
                                                               {"isl", "ice"},
                                                               {"mkd", "mac"},
                                                               {"nld", "dut"},
                                                               {"sqi", "alb"},
                                                               {"swe", "sve"},
                                                               {"zho", "chi"}}};
    const AVDictionaryEntry* language = av_dict_get(entries, "language", nullptr, 0);
    if (language == nullptr || std::string_view(container.muxer) != "mov") {
        return;
    }
    for (const auto& [usual, known] : codes) {
        if (std::string_view(language->value) == usual) {
            av_dict_set(&entries, "language", known, 0);
            return;
        }
    }
}

void copyStreamMetadata(const Input& source, int firstFrame, const Container& container, AVStream& to) {
    copyEntries(source.stream().metadata, &to.metadata);
    nameLanguageFor(container, to.metadata);
    advanceTimecode(&to.metadata, source.frameRate(), firstFrame);
    to.disposition = source.stream().disposition;
    constexpr struct {
        AVPacketSideDataType ofStream;
        AVFrameSideDataType ofFrame;
    } kKept[] = {{AV_PKT_DATA_MASTERING_DISPLAY_METADATA, AV_FRAME_DATA_MASTERING_DISPLAY_METADATA},
                 {AV_PKT_DATA_CONTENT_LIGHT_LEVEL, AV_FRAME_DATA_CONTENT_LIGHT_LEVEL}};
    for (const auto& kept : kKept) {
        std::size_t size = 0;
        const std::uint8_t* data = av_stream_get_side_data(&source.stream(), kept.ofStream, &size);
        if (data == nullptr) {
            const AVFrameSideData* inFrame = av_frame_get_side_data(&source.firstFrame(), kept.ofFrame);
            data = inFrame != nullptr ? inFrame->data : nullptr;
            size = inFrame != nullptr ? inFrame->size : 0;
        }
        copySideData(kept.ofStream, data, size, to);
    }
}

}  // namespace quorvel::cli
