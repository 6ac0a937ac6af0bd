// SPDX-License-Identifier: MIT
// The fast kernel. This file is compiled once for each instruction set, with QUORVEL_KERNELS naming its table.
#include "effect/fast/kernels.h"

#include <cstddef>
#include <cstdint>

#include "effect/cells.h"
#include "effect/depth.h"
#include "effect/fast/geometry.h"
#include "effect/fast/judge-inl.h"
#include "effect/fast/measure-inl.h"
#include "effect/fast/picture-inl.h"
#include "effect/fast/pyramid-inl.h"
#include "effect/fast/refine-inl.h"
#include "effect/fast/smooth-inl.h"
#include "effect/fast/vector-inl.h"
#include "effect/fast/workspace-inl.h"
#include "effect/fast/write-inl.h"
#include "effect/pixels.h"

namespace quorvel::fast {
namespace {

/// Draws a frame row by row of cells, and of those as many side by side as fit into the scratch memory.
template <typename Depth>
class FrameDrawer {
public:
    using T = typename Depth::Channel;

    FrameDrawer(const MosaicJob<Depth>& job, Workspace<T>& work) : job_(job), pictures_(picturesOf(job)), work_(work) {}

    void draw() {
        const PixelView<T>& output = job_.output;
        const std::int32_t levels = levelsToTiles((output.width - 1) / job_.gridWidth + 1,  //
                                                  (output.height - 1) / job_.gridHeight + 1);
        // A register of blocks of which nothing is decided yet but for the channels that are not processed.
        Mask<T> open[kLanes<T>];
        Mask<T> keep[kLanes<T>];
        T fill[kLanes<T>];
        for (std::int32_t i = 0; i < kLanes<T>; ++i) {
            open[i] = maskOf<T>(job_.processed[i % kChannelsPerPixel]);
            keep[i] = static_cast<Mask<T>>(~open[i]);
            fill[i] = T{};
        }
        const Verdicts<T> above{open, keep, fill, 0};
        for (std::int32_t r = 0; r < job_.gridHeight; ++r) {
            const std::int32_t y0 = cellStart(r, output.height, job_.gridHeight);
            const std::int32_t y1 = cellStart(r + 1, output.height, job_.gridHeight);
            if (y0 < y1) {
                drawCellRow(y0, y1, levels, above);
            }
        }
    }

private:
    void drawCellRow(std::int32_t y0, std::int32_t y1, std::int32_t levels, const Verdicts<T>& above) {
        BlockRow row(work_.columns, y0, y1, levels, 0);
        std::int32_t x0 = 0;
        for (std::int32_t c = 0; c < job_.gridWidth; ++c) {
            const std::int32_t x1 = cellStart(c + 1, job_.output.width, job_.gridWidth);
            if (x0 == x1) {
                continue;
            }
            if (levels > kTileLevels) {
                drawLargeBlock({x0, y0, x1 - x0, y1 - y0}, 0, levels, above);
            } else {
                if (!row.fits(x1)) {
                    drawBlockRow(row, above);
                }
                row.add(x0, x1);
            }
            x0 = x1;
        }
        drawBlockRow(row, above);
    }

    /// Neighbouring blocks, gathered as long as they fit into the scratch memory.
    struct BlockRow {
        BlockRow(std::int32_t* bounds, std::int32_t top, std::int32_t bottom, std::int32_t halvings,
                 std::int32_t blockDepth)
            : columns(bounds), y0(top), y1(bottom), levels(halvings), depth(blockDepth) {}

        std::int32_t* columns;
        std::int32_t y0;
        std::int32_t y1;
        std::int32_t levels;
        std::int32_t depth;
        std::int32_t blocks = 0;

        bool fits(std::int32_t end) const {
            return blocks == 0 ||
                   ((blocks + 1) << (2 * levels) <= kMaximumTiles<T> && end - columns[0] <= kRowPixels<T>);
        }
        void add(std::int32_t begin, std::int32_t end) {
            columns[blocks << levels] = begin;
            columns[++blocks << levels] = end;
        }
    };

    /// Draws the blocks of the row, which is empty then.
    void drawBlockRow(BlockRow& row, const Verdicts<T>& above) {
        if (row.blocks == 0) {
            return;
        }
        const Pyramid<T, std::uint32_t> pyramid{{work_.low}, {work_.high}, work_.nodeFill, work_.sums, work_.columns,
                                                work_.rows,  row.blocks,   row.levels,     row.depth};
        pyramid.rows[0] = row.y0;
        pyramid.rows[1 << row.levels] = row.y1;
        halveRepeatedly(pyramid.columns, row.blocks, row.levels);
        halveRepeatedly(pyramid.rows, 1, row.levels);
        measureTiles<Depth>(job_, pictures_, pyramid, work_);
        const bool useTables = judgeMeasured(pyramid, above, !pictures_.separate);
        Refiner<Depth> refiner(job_, pictures_, pyramid, work_, useTables);
        bool planned = false;
        for (std::int32_t r = 0; r < pyramid.rowsAt(pyramid.levels); ++r) {
            planned = drawTileRow(pyramid, r, planned, refiner);
        }
        row.blocks = 0;
    }

    /// Judges a pyramid of measured tiles. Returns whether the tables had to be used.
    template <typename S>
    bool judgeMeasured(const Pyramid<T, S>& pyramid, const Verdicts<T>& above, bool spreadsOfSource) {
        foldTiles(job_, pyramid);
        measureUpperLevels(pyramid);
        const bool useTables = !job_.rangesHold || leavesRange(pyramid);
        Judge<Depth, S>(job_, pyramid, useTables, spreadsOfSource).judge(above);
        return useTables;
    }

    /// Whether some contrast may be beyond the one turn of the curve that the busy ranges are made for.
    template <typename S>
    bool leavesRange(const Pyramid<T, S>& pyramid) const {
        if constexpr (sizeof(T) == 2) {
            for (std::int32_t i = 0; i < pyramid.blocks * kChannelsPerPixel; ++i) {
                if (job_.processed[i % kChannelsPerPixel] && pyramid.high[i] > Depth::kMinimumStart) {
                    return true;
                }
            }
        }
        return false;
    }

    /// `planned`: the scratch rows are as the row above needs them. Returns the same for this row.
    bool drawTileRow(const Pyramid<T, std::uint32_t>& pyramid, std::int32_t r, bool planned, Refiner<Depth>& refiner) {
        const std::int32_t columns = pyramid.columnsAt(pyramid.levels);
        const std::ptrdiff_t place = pyramid.place(pyramid.levels, r, 0);
        const std::ptrdiff_t channels = static_cast<std::ptrdiff_t>(columns) * kChannelsPerPixel;
        Mask<T> anyOpen = 0;
        Mask<T> anyKept = 0;
        for (std::ptrdiff_t i = place; i < place + channels; ++i) {
            anyOpen = static_cast<Mask<T>>(anyOpen | pyramid.open[i]);
            anyKept = static_cast<Mask<T>>(anyKept | pyramid.keep[i]);
        }
        if (anyOpen != 0) {
            refiner.drawTileRow(r);
            return false;
        }
        // Inside larger blocks one row of tiles is like the next.
        const auto sameAsAbove = [&](const auto* verdicts) {
            const std::ptrdiff_t above = pyramid.place(pyramid.levels, r - 1, 0);
            return __builtin_memcmp(verdicts + above, verdicts + place,
                                    static_cast<std::size_t>(channels) * sizeof *verdicts) == 0;
        };
        const std::int32_t left = pyramid.columns[0];
        if (!planned || !sameAsAbove(pyramid.keep) || !sameAsAbove(pyramid.fill)) {
            for (std::int32_t c = 0; c < columns; ++c) {
                const std::ptrdiff_t i = place + c * kChannelsPerPixel;
                planEvenly(work_.keep, work_.fill, pyramid.columns[c] - left,
                           pyramid.columns[c + 1] - pyramid.columns[c], pyramid.keep + i, pyramid.fill + i);
            }
        }
        mergeRows(job_.output, job_.source,
                  {left, pyramid.rows[r], pyramid.columns[columns] - left, pyramid.rows[r + 1] - pyramid.rows[r]},
                  anyKept != 0, work_.keep, work_.fill);
        return true;
    }

    /// A block too large for the tiles: measured once in coarse parts, which are judged and then drawn one by one.
    /// Nests as often as a block of 2^31 pixels a side can be too large: a few times.
    void drawLargeBlock(const Region& block, std::int32_t depth, std::int32_t levels, const Verdicts<T>& above) {
        const std::int32_t coarse = levels - kTileLevels < kCoarseLevels ? levels - kTileLevels : kCoarseLevels;
        const std::int32_t span = 1 << coarse;
        constexpr std::size_t kNodeChannels = channelsFor<T>(kCoarseSpan * kCoarseSpan, kCoarseLevels);
        T low[kNodeChannels];
        T high[kNodeChannels];
        T fill[kNodeChannels];
        std::uint64_t sums[sizeof(T) <= 2 ? kChannelsPerPixel * kCoarseSpan * kCoarseSpan : 1];
        std::int32_t columns[kCoarseSpan + 1];
        std::int32_t rows[kCoarseSpan + 1];
        const Pyramid<T, std::uint64_t> pyramid{{low}, {high}, fill, sums, columns, rows, 1, coarse, depth};
        columns[0] = block.x;
        columns[span] = block.x + block.width;
        rows[0] = block.y;
        rows[span] = block.y + block.height;
        halveRepeatedly(columns, 1, coarse);
        halveRepeatedly(rows, 1, coarse);
        for (std::int32_t r = 0; r < span; ++r) {
            for (std::int32_t c = 0; c < span; ++c) {
                const RegionMeasure<T> part =
                    measureRegion<Depth>(job_, pictures_, pyramid.region(coarse, r, c), work_);
                const std::ptrdiff_t i = pyramid.place(coarse, r, c);
                __builtin_memcpy(low + i, &part.low, sizeof part.low);
                __builtin_memcpy(high + i, &part.high, sizeof part.high);
                if constexpr (sizeof(T) <= 2) {
                    __builtin_memcpy(pyramid.sumsOfTile(r, c), part.sums, sizeof part.sums);
                }
            }
        }
        // Of floats, the measure of a region does not say whether all are finite.
        judgeMeasured(pyramid, above, !pictures_.separate && sizeof(T) <= 2);

        for (std::int32_t r = 0; r < span; ++r) {
            BlockRow row(work_.columns, rows[r], rows[r + 1], levels - coarse, depth + coarse);
            std::int32_t firstOfRow = 0;
            const auto verdictsOf = [&](std::int32_t c) {
                const std::ptrdiff_t i = pyramid.place(coarse, r, c);
                return Verdicts<T>{pyramid.open + i, pyramid.keep + i, pyramid.fill + i, 1};
            };
            for (std::int32_t c = 0; c < span; ++c) {
                const Verdicts<T> verdict = verdictsOf(c);
                const Region part = pyramid.region(coarse, r, c);
                bool anyOpen = false;
                for (int i = 0; i < kChannelsPerPixel; ++i) {
                    anyOpen = anyOpen || verdict.open[i] != 0;
                }
                if (!anyOpen) {
                    drawBlockRow(row, verdictsOf(firstOfRow));
                    writeEvenly(job_.output, job_.source, part, verdict.keep, verdict.fill, work_);
                } else if (levels - coarse > kTileLevels) {
                    drawLargeBlock(part, depth + coarse, levels - coarse, verdict);
                } else {
                    if (row.blocks == 0 || !row.fits(part.x + part.width)) {
                        drawBlockRow(row, verdictsOf(firstOfRow));
                        firstOfRow = c;
                    }
                    row.add(part.x, part.x + part.width);
                }
            }
            drawBlockRow(row, verdictsOf(firstOfRow));
        }
    }

    const MosaicJob<Depth>& job_;
    const Pictures<T> pictures_;
    Workspace<T>& work_;
};

template <typename Depth>
void drawMosaic(const MosaicJob<Depth>& job) {
    Workspace<typename Depth::Channel> work;
    FrameDrawer<Depth>(job, work).draw();
}

}  // namespace

const KernelSet QUORVEL_KERNELS = {drawMosaic<Depth8>, drawMosaic<Depth16>, drawMosaic<DepthFloat>, smoothCurve};

}  // namespace quorvel::fast
