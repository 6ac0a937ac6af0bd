// SPDX-License-Identifier: MIT
// The fast renderer's kernels. This file is compiled once for each instruction set; QUORVEL_KERNELS names the table
// that it defines then.
#include "effect/fast/kernels.h"

#include <cstddef>
#include <cstdint>

#include "effect/cells.h"
#include "effect/depth.h"
#include "effect/fast/decide-inl.h"
#include "effect/fast/geometry.h"
#include "effect/fast/inputs-inl.h"
#include "effect/fast/measure-inl.h"
#include "effect/fast/pyramid-inl.h"
#include "effect/fast/refine-inl.h"
#include "effect/fast/smooth-inl.h"
#include "effect/fast/vector-inl.h"
#include "effect/fast/workspace-inl.h"
#include "effect/fast/write-inl.h"
#include "effect/pixels.h"

namespace quorvel::fast {
namespace {

/// Draws a frame by rows of cells, and in a row as many cells at once as fit into the scratch memory.
template <typename Depth>
class FrameDrawer {
public:
    using T = typename Depth::Channel;

    FrameDrawer(const MosaicJob<Depth>& job, Workspace<T>& work) : job_(job), inputs_(inputsOf(job)), work_(work) {}

    void draw() {
        const PixelView<T>& output = job_.output;
        const std::int32_t levels = levelsToTiles((output.width - 1) / job_.gridWidth + 1,  //
                                                  (output.height - 1) / job_.gridHeight + 1);
        // For cells, one thing is decided: channels that are not processed are kept.
        Mask<T> open[kRegisterChannels<T>];
        Mask<T> keep[kRegisterChannels<T>];
        T fill[kRegisterChannels<T>];
        for (std::int32_t i = 0; i < kRegisterChannels<T>; ++i) {
            open[i] = maskOf<T>(job_.processed[i % kChannelsPerPixel]);
            keep[i] = static_cast<Mask<T>>(~open[i]);
            fill[i] = T{};
        }
        const Decisions<T> above{open, keep, fill, 0};
        for (std::int32_t r = 0; r < job_.gridHeight; ++r) {
            const std::int32_t y0 = cellStart(r, output.height, job_.gridHeight);
            const std::int32_t y1 = cellStart(r + 1, output.height, job_.gridHeight);
            if (y0 < y1) {
                drawCellRow(y0, y1, levels, above);
            }
        }
    }

private:
    void drawCellRow(std::int32_t y0, std::int32_t y1, std::int32_t levels, const Decisions<T>& above) {
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

    /// Neighbouring blocks of one level, to be drawn together: as many as fit into the scratch memory.
    struct BlockRow {
        BlockRow(std::int32_t* bounds, std::int32_t top, std::int32_t bottom, std::int32_t levelsBelow,
                 std::int32_t levelOfBlocks)
            : columns(bounds), y0(top), y1(bottom), levels(levelsBelow), topLevel(levelOfBlocks) {}

        std::int32_t* columns;
        std::int32_t y0;
        std::int32_t y1;
        std::int32_t levels;
        std::int32_t topLevel;
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

    /// Draws the blocks of the row and empties it.
    void drawBlockRow(BlockRow& row, const Decisions<T>& above) {
        if (row.blocks == 0) {
            return;
        }
        const Pyramid<T, std::uint32_t> pyramid{{work_.low}, {work_.high}, work_.nodeFill, work_.sums,  work_.columns,
                                                work_.rows,  row.blocks,   row.levels,     row.topLevel};
        pyramid.rows[0] = row.y0;
        pyramid.rows[1 << row.levels] = row.y1;
        halveRepeatedly(pyramid.columns, row.blocks, row.levels);
        halveRepeatedly(pyramid.rows, 1, row.levels);
        measureTiles<Depth>(job_, inputs_, pyramid, work_);
        const bool useTables = decideMeasured(pyramid, above, !inputs_.separate);
        Refiner<Depth> refiner(job_, inputs_, pyramid, work_, useTables);
        bool planned = false;
        for (std::int32_t r = 0; r < pyramid.rowsAt(pyramid.levels); ++r) {
            planned = drawTileRow(pyramid, r, planned, refiner);
        }
        row.blocks = 0;
    }

    /// Decides a pyramid of measured tiles. Returns whether the curve tables had to be used.
    template <typename S>
    bool decideMeasured(const Pyramid<T, S>& pyramid, const Decisions<T>& above, bool spreadsOfSource) {
        foldTiles(job_, pyramid);
        measureUpperLevels(pyramid);
        const bool useTables = !job_.rangesHold || leavesRange(pyramid);
        Decider<Depth, S>(job_, pyramid, useTables, spreadsOfSource).decide(above);
        return useTables;
    }

    /// Whether some contrast may go beyond the one turn of the curve, for which the busy ranges are made.
    template <typename S>
    bool leavesRange(const Pyramid<T, S>& pyramid) const {
        if constexpr (Depth::kExceedsTurn) {
            for (std::int32_t i = 0; i < pyramid.blocks * kChannelsPerPixel; ++i) {
                if (job_.processed[i % kChannelsPerPixel] && pyramid.high[i] > Depth::kWhite) {
                    return true;
                }
            }
        }
        return false;
    }

    /// `planned`: the scratch rows hold what the row of tiles above needed. Returns the same for this row.
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
        // Inside larger blocks, a row of tiles is like the one above.
        const auto sameAsAbove = [&](const auto* decisions) {
            const std::ptrdiff_t above = pyramid.place(pyramid.levels, r - 1, 0);
            return __builtin_memcmp(decisions + above, decisions + place,
                                    static_cast<std::size_t>(channels) * sizeof *decisions) == 0;
        };
        const std::int32_t left = pyramid.columns[0];
        if (!planned || !sameAsAbove(pyramid.keep) || !sameAsAbove(pyramid.fill)) {
            for (std::int32_t c = 0; c < columns; ++c) {
                const std::ptrdiff_t i = place + c * kChannelsPerPixel;
                planUniform(work_.keep, work_.fill, pyramid.columns[c] - left,
                            pyramid.columns[c + 1] - pyramid.columns[c], pyramid.keep + i, pyramid.fill + i);
            }
        }
        mergeRows(job_.output, job_.source,
                  {left, pyramid.rows[r], pyramid.columns[columns] - left, pyramid.rows[r + 1] - pyramid.rows[r]},
                  anyKept != 0, work_.keep, work_.fill);
        return true;
    }

    /// Draws a block that is too large to be measured by tiles. It is measured once in coarse parts, which are decided
    /// and then drawn one by one. Calls nest for parts that are too large themselves, at most six deep.
    void drawLargeBlock(const Region& block, std::int32_t blockLevel, std::int32_t levels, const Decisions<T>& above) {
        const std::int32_t coarse = levels - kTileLevels < kCoarseLevels ? levels - kTileLevels : kCoarseLevels;
        const std::int32_t span = 1 << coarse;
        constexpr std::size_t kNodeChannels = channelsFor<T>(kCoarseSpan * kCoarseSpan, kCoarseLevels);
        T low[kNodeChannels];
        T high[kNodeChannels];
        T fill[kNodeChannels];
        std::uint64_t sums[Depth::kIsInteger ? kChannelsPerPixel * kCoarseSpan * kCoarseSpan : 1];
        std::int32_t columns[kCoarseSpan + 1];
        std::int32_t rows[kCoarseSpan + 1];
        const Pyramid<T, std::uint64_t> pyramid{{low}, {high}, fill, sums, columns, rows, 1, coarse, blockLevel};
        columns[0] = block.x;
        columns[span] = block.x + block.width;
        rows[0] = block.y;
        rows[span] = block.y + block.height;
        halveRepeatedly(columns, 1, coarse);
        halveRepeatedly(rows, 1, coarse);
        for (std::int32_t r = 0; r < span; ++r) {
            for (std::int32_t c = 0; c < span; ++c) {
                const RegionMeasure<T> part = measureRegion<Depth>(job_, inputs_, pyramid.region(coarse, r, c), work_);
                const std::ptrdiff_t i = pyramid.place(coarse, r, c);
                __builtin_memcpy(low + i, &part.low, sizeof part.low);
                __builtin_memcpy(high + i, &part.high, sizeof part.high);
                if constexpr (Depth::kIsInteger) {
                    __builtin_memcpy(pyramid.sumsOfTile(r, c), part.sums, sizeof part.sums);
                }
            }
        }
        // The measure of a region does not tell whether all floats are finite.
        decideMeasured(pyramid, above, !inputs_.separate && Depth::kIsInteger);

        for (std::int32_t r = 0; r < span; ++r) {
            BlockRow row(work_.columns, rows[r], rows[r + 1], levels - coarse, blockLevel + coarse);
            std::int32_t firstOfRow = 0;
            const auto decisionsOf = [&](std::int32_t c) {
                const std::ptrdiff_t i = pyramid.place(coarse, r, c);
                return Decisions<T>{pyramid.open + i, pyramid.keep + i, pyramid.fill + i, 1};
            };
            for (std::int32_t c = 0; c < span; ++c) {
                const Decisions<T> decision = decisionsOf(c);
                const Region part = pyramid.region(coarse, r, c);
                bool anyOpen = false;
                for (int i = 0; i < kChannelsPerPixel; ++i) {
                    anyOpen = anyOpen || decision.open[i] != 0;
                }
                if (!anyOpen) {
                    drawBlockRow(row, decisionsOf(firstOfRow));
                    writeUniform(job_.output, job_.source, part, decision.keep, decision.fill, work_);
                } else if (levels - coarse > kTileLevels) {
                    drawLargeBlock(part, blockLevel + coarse, levels - coarse, decision);
                } else {
                    if (row.blocks == 0 || !row.fits(part.x + part.width)) {
                        drawBlockRow(row, decisionsOf(firstOfRow));
                        firstOfRow = c;
                    }
                    row.add(part.x, part.x + part.width);
                }
            }
            drawBlockRow(row, decisionsOf(firstOfRow));
        }
    }

    const MosaicJob<Depth>& job_;
    const FrameInputs<T> inputs_;
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
