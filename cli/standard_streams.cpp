// SPDX-License-Identifier: MIT
#include "cli/standard_streams.h"

#include <fcntl.h>

#if !defined(_WIN32)
#include <unistd.h>
#endif

namespace quorvel::cli {

void openMissingStandardStreams() {
#if !defined(_WIN32)
    // In this order, because the lowest free number is given out.
    constexpr int kModes[] = {O_WRONLY, O_RDONLY, O_WRONLY};
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (::fcntl(stream, F_GETFD) == -1) {
            (void)::open("/dev/null", kModes[stream]);
        }
    }
#endif
}

}  // namespace quorvel::cli
