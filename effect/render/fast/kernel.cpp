// SPDX-License-Identifier: MIT
// The fast kernel. This file is compiled once for each instruction set, with QUORVEL_KERNELS naming its table.
#include "effect/render/fast/kernel.h"

#include "effect/render/cells.h"
#include "effect/render/fast/geometry.h"
#include "effect/render/fast/judge.h"
#include "effect/render/fast/measure.h"
#include "effect/render/fast/refine.h"
#include "effect/render/fast/smooth.h"
#include "effect/render/fast/workspace.h"
#include "effect/render/fast/write.h"

namespace quorvel {
namespace {

template <typename Depth>
class FrameDrawer {
public:
    using T = typename Depth::Channel;

    FrameDrawer(const MosaicJob<Depth>& job, Workspace<T>& work)
        : job_(job), picture_(decidingPicture(job)), work_(work) {}

    void draw() {
        const PixelView<T>& output = job_.output;
        const std::int32_t levels = levelsToTiles((output.width - 1) / job_.gridWidth + 1,  //
                                                  (output.height - 1) / job_.gridHeight + 1);
        Verdict<T> above{};
        for (int c = 0; c < kChannelsPerPixel; ++c) {
            above.state.channel[c] = job_.processed[c] ? kSplit<T> : kKept<T>;
        }
        for (std::int32_t r = 0; r < job_.gridHeight; ++r) {
            const std::int32_t y0 = cellStart(r, output.height, job_.gridHeight);
            const std::int32_t y1 = cellStart(r + 1, output.height, job_.gridHeight);
            if (y0 < y1) {
                drawCellRow(y0, y1, levels, above);
            }
        }
    }

private:
    void drawCellRow(std::int32_t y0, std::int32_t y1, std::int32_t levels, const Verdict<T>& above) {
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
                    drawBlockRow(row, &above, 0);
                }
                row.add(x0, x1);
            }
            x0 = x1;
        }
        drawBlockRow(row, &above, 0);
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
            return blocks == 0 || ((blocks + 1) << (2 * levels) <= kMaximumTiles && end - columns[0] <= kRowPixels<T>);
        }
        void add(std::int32_t begin, std::int32_t end) {
            columns[blocks << levels] = begin;
            columns[++blocks << levels] = end;
        }
    };

    /// Draws the blocks of the row, which is empty then.
    void drawBlockRow(BlockRow& row, const Verdict<T>* above, std::int32_t aboveStep) {
        if (row.blocks == 0) {
            return;
        }
        const Pyramid<T> pyramid{work_.tiles, work_.upper, work_.columns, work_.rows,
                                 row.blocks,  row.levels,  row.depth};
        pyramid.rows[0] = row.y0;
        pyramid.rows[1 << row.levels] = row.y1;
        halveRepeatedly(pyramid.columns, row.blocks, row.levels);
        halveRepeatedly(pyramid.rows, 1, row.levels);
        measureTiles<Depth>(picture_, pyramid, work_);
        measureUpperLevels(pyramid);
        Refiner<Depth> refiner(job_, picture_, work_, !job_.rangesHold || leavesRange(pyramid));
        judge<Depth>(job_, pyramid, above, aboveStep);
        for (std::int32_t r = 0; r < pyramid.tileRows(); ++r) {
            drawTileRow(pyramid, r, refiner);
        }
        row.blocks = 0;
    }

    /// Whether some contrast may be beyond the one turn of the curve that the busy ranges are made for.
    bool leavesRange(const Pyramid<T>& pyramid) const {
        if constexpr (sizeof(T) == 2) {
            for (std::int32_t b = 0; b < pyramid.blocks; ++b) {
                const Spread<T>& spread = pyramid.levels == 0 ? pyramid.tiles[b].spread : pyramid.upper[b];
                for (int c = 0; c < kChannelsPerPixel; ++c) {
                    if (job_.processed[c] && spread.maximum.channel[c] > Depth::kMinimumStart) {
                        return true;
                    }
                }
            }
        }
        return false;
    }

    void drawTileRow(const Pyramid<T>& pyramid, std::int32_t r, Refiner<Depth>& refiner) {
        const Tile<T>* tiles = pyramid.tileRow(r);
        const std::int32_t columns = pyramid.tileColumns();
        const std::int32_t left = pyramid.columns[0];
        for (std::int32_t c = 0; c < columns; ++c) {
            if (Refiner<Depth>::isSplit(tiles[c].verdict)) {
                refiner.drawTileRow(pyramid, r);
                plannedRow_ = nullptr;
                return;
            }
        }
        // Inside larger blocks one row of tiles is like the next.
        const bool planned =
            r > 0 && plannedRow_ == tiles - columns &&
            __builtin_memcmp(plannedRow_, tiles, sizeof(Tile<T>) * static_cast<std::size_t>(columns)) == 0;
        if (!planned) {
            for (std::int32_t c = 0; c < columns; ++c) {
                planEvenly(work_.keep[0], work_.fill[0], pyramid.columns[c] - left,
                           pyramid.columns[c + 1] - pyramid.columns[c], tiles[c].verdict);
            }
        }
        plannedRow_ = tiles;
        mergeRows(job_.output, job_.source,
                  {left, pyramid.rows[r], pyramid.columns[columns] - left, pyramid.rows[r + 1] - pyramid.rows[r]},
                  work_.keep[0], work_.fill[0]);
    }

    /// A block too large for the tiles: measured once in coarse parts, which are judged and then drawn one by one.
    /// Nests as often as a block of 2^31 pixels a side can be too large: a few times.
    void drawLargeBlock(const Region& block, std::int32_t depth, std::int32_t levels, const Verdict<T>& above) {
        const std::int32_t coarse = levels - kTileLevels < kCoarseLevels ? levels - kTileLevels : kCoarseLevels;
        Tile<T> parts[kCoarseSpan * kCoarseSpan];
        Spread<T> upper[kCoarseSpan * kCoarseSpan / 3 + 1];
        std::int32_t columns[kCoarseSpan + 1];
        std::int32_t rows[kCoarseSpan + 1];
        const Pyramid<T> pyramid{parts, upper, columns, rows, 1, coarse, depth};
        columns[0] = block.x;
        columns[1 << coarse] = block.x + block.width;
        rows[0] = block.y;
        rows[1 << coarse] = block.y + block.height;
        halveRepeatedly(columns, 1, coarse);
        halveRepeatedly(rows, 1, coarse);
        const std::int32_t span = 1 << coarse;
        for (std::int32_t r = 0; r < span; ++r) {
            for (std::int32_t c = 0; c < span; ++c) {
                parts[r * span + c].spread = spreadOf<Depth>(picture_, pyramid.region(coarse, r, c), work_);
            }
        }
        measureUpperLevels(pyramid);
        judge<Depth>(job_, pyramid, &above, 0);

        for (std::int32_t r = 0; r < span; ++r) {
            BlockRow row(work_.columns, rows[r], rows[r + 1], levels - coarse, depth + coarse);
            std::int32_t firstOfRow = 0;
            for (std::int32_t c = 0; c < span; ++c) {
                const Verdict<T>& verdict = parts[r * span + c].verdict;
                const Region part = pyramid.region(coarse, r, c);
                if (!Refiner<Depth>::isSplit(verdict)) {
                    writeRow(row, parts + r * span + firstOfRow);
                    writeEvenly(job_.output, job_.source, part, verdict, work_);
                } else if (levels - coarse > kTileLevels) {
                    drawLargeBlock(part, depth + coarse, levels - coarse, verdict);
                } else {
                    if (row.blocks == 0 || !row.fits(part.x + part.width)) {
                        writeRow(row, parts + r * span + firstOfRow);
                        firstOfRow = c;
                    }
                    row.add(part.x, part.x + part.width);
                }
            }
            writeRow(row, parts + r * span + firstOfRow);
        }
    }

    void writeRow(BlockRow& row, const Tile<T>* parts) {
        static_assert(sizeof(Tile<T>) == sizeof(Verdict<T>));
        drawBlockRow(row, &parts->verdict, 1);
    }

    const MosaicJob<Depth>& job_;
    const DecidingPicture<T> picture_;
    Workspace<T>& work_;
    const Tile<T>* plannedRow_ = nullptr;  ///< what the first pair of scratch rows was planned for
};

template <typename Depth>
void drawMosaic(const MosaicJob<Depth>& job) {
    Workspace<typename Depth::Channel> work;
    FrameDrawer<Depth>(job, work).draw();
}

}  // namespace

const KernelSet QUORVEL_KERNELS = {drawMosaic<Depth8>, drawMosaic<Depth16>, drawMosaic<DepthFloat>, smoothCurve};

}  // namespace quorvel
