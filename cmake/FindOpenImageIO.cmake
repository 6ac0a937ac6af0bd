# OpenImageIO::OpenImageIO, the picture-file library.
# Debian's own OpenImageIOConfig.cmake fails unless the library's viewer and tools (with Qt) are installed as well;
# all that is needed here is the headers and the two libraries.
find_path(OpenImageIO_INCLUDE_DIR OpenImageIO/imageio.h)
find_library(OpenImageIO_LIBRARY OpenImageIO)
find_library(OpenImageIO_UTIL_LIBRARY OpenImageIO_Util)
mark_as_advanced(OpenImageIO_INCLUDE_DIR OpenImageIO_LIBRARY OpenImageIO_UTIL_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(OpenImageIO
  REQUIRED_VARS OpenImageIO_LIBRARY OpenImageIO_UTIL_LIBRARY OpenImageIO_INCLUDE_DIR)

if(OpenImageIO_FOUND AND NOT TARGET OpenImageIO::OpenImageIO)
  add_library(OpenImageIO::OpenImageIO INTERFACE IMPORTED)
  target_include_directories(OpenImageIO::OpenImageIO SYSTEM INTERFACE "${OpenImageIO_INCLUDE_DIR}")
  target_link_libraries(OpenImageIO::OpenImageIO INTERFACE "${OpenImageIO_LIBRARY}" "${OpenImageIO_UTIL_LIBRARY}")
endif()
