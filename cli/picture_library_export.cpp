// SPDX-License-Identifier: MIT
// The shared object's only export.
#include <OpenImageIO/imageio.h>
#include <pango/pangocairo.h>

#include "cli/picture_library.h"
#include "cli/pictures/parallel.h"
#include "cli/staged_names.h"

namespace quorvel::cli {

std::string pictureLibraryVersions() {
    return fmt::format("OpenImageIO {}.{}.{}, Cairo {}, Pango {}", OIIO::openimageio_version() / 10000,
                       OIIO::openimageio_version() / 100 % 100, OIIO::openimageio_version() % 100,
                       cairo_version_string(), pango_version_string());
}

void limitThreads(int count) {
    OIIO::attribute("threads", count);
    // In OpenEXR 0 is the calling thread alone, and so is -1 in what passes the number on to it.
    OIIO::attribute("exr_threads", count == 1 ? -1 : count);
    parallelThreads() = static_cast<std::size_t>(count);
}

extern "C" __attribute__((visibility("default"))) const Pictures* quorvelPictures() {
    static constexpr Pictures functions{readPicture,
                                        plainTraits,
                                        writePicture,
                                        writePictureToStandardOutput,
                                        isWritableFormat,
                                        writableFormats,
                                        holdsFurtherChannels,
                                        checkCompression,
                                        drawPanel,
                                        pictureLibraryVersions,
                                        limitThreads,
                                        isPictureFile,
                                        stagedNames};
    // Here, because the staged file that a signal removes is known to this copy of the code.
    removeStagedFilesOnSignals();
    return &functions;
}

}  // namespace quorvel::cli
