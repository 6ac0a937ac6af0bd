// SPDX-License-Identifier: MIT
#pragma once

namespace quorvel::cli {

/// Opens something for each standard stream that the program was started without (`2>&-`). Otherwise the next file that
/// is opened would become that stream, and messages would end up in it, or it would be closed with it. Reading such a
/// standard input and writing such a standard output fail; messages go nowhere. Called first of all.
void openMissingStandardStreams();

}  // namespace quorvel::cli
