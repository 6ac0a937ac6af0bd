# CLI11, fmt and nlohmann_json for another platform than the building machine's. Headers are the same everywhere, but the
# folder they lie in has headers of the machine's own system as well: each library gets a folder of its own.
include_guard(GLOBAL)

function(quorvel_header_only target header)
  get_filename_component(folder "${header}" DIRECTORY)
  find_path(QUORVEL_${folder}_HEADERS "${header}" REQUIRED NO_CMAKE_FIND_ROOT_PATH PATHS /usr/include
            DOC "Where ${header} is")
  set(own "${PROJECT_BINARY_DIR}/headers/${folder}")
  file(MAKE_DIRECTORY "${own}")
  file(CREATE_LINK "${QUORVEL_${folder}_HEADERS}/${folder}" "${own}/${folder}" SYMBOLIC)
  add_library(${target} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${target} SYSTEM INTERFACE "${own}")
endfunction()

quorvel_header_only(CLI11::CLI11 CLI/CLI.hpp)
quorvel_header_only(fmt::fmt fmt/format.h)
target_compile_definitions(fmt::fmt INTERFACE FMT_HEADER_ONLY)
quorvel_header_only(nlohmann_json::nlohmann_json nlohmann/json.hpp)
