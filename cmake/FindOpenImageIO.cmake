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

# The libraries behind OpenImageIO with by far the most symbols, as names for dlopen() in the form of an initializer.
# OpenImageIO_LARGE_LIBRARIES is empty where it does without them.
set(OpenImageIO_LARGE_LIBRARIES "")
if(OpenImageIO_FOUND)
  execute_process(COMMAND ldd "${OpenImageIO_LIBRARY}" OUTPUT_VARIABLE dependencies ERROR_QUIET)
  foreach(library openvdb gdal)
    if(dependencies MATCHES "(lib${library}\\.so[^ \n]*) =>")
      list(APPEND OpenImageIO_LARGE_LIBRARIES "\"${CMAKE_MATCH_1}\"")
    endif()
  endforeach()
  list(JOIN OpenImageIO_LARGE_LIBRARIES "," OpenImageIO_LARGE_LIBRARIES)
endif()
