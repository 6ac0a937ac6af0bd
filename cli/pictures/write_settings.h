// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

namespace quorvel::cli {

/// How a picture is written.
struct WriteSettings {
    bool alpha = false;          ///< write the alpha channel
    bool clobber = true;         ///< replace a file that is there
    bool fullPrecision = false;  ///< float as 32 bits even when the input had half floats
    std::string compression;     ///< what `--compression` takes for the format; empty: the default
    std::optional<int> quality;  ///< 1 to 100, for formats that lose detail
};

}  // namespace quorvel::cli
