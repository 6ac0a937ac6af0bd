# What every target of this project is compiled with.
option(QUORVEL_BUILD_CLI "Build the command-line program (needs CLI11 and nlohmann_json)" ON)
option(QUORVEL_PICTURES "Build what reads and writes pictures (needs OpenImageIO)" ON)
# AUTO builds what its library is installed for: the program alone needs neither.
set(QUORVEL_BUILD_TESTS AUTO CACHE STRING "Build the tests (needs GoogleTest): ON, OFF or AUTO")
set(QUORVEL_BUILD_BENCHMARKS AUTO CACHE STRING "Build the benchmarks (needs Google Benchmark): ON, OFF or AUTO")
option(QUORVEL_JOIN_FILES "Compile several source files in one go, where reading library headers takes most of the time" ON)
set(QUORVEL_SANITIZE "" CACHE STRING "Sanitizers, comma-separated: address,undefined or thread")

# Turns AUTO into whether the package is found.
macro(quorvel_resolve_auto option package)
  set_property(CACHE ${option} PROPERTY STRINGS AUTO ON OFF)
  if(${option} STREQUAL "AUTO")
    find_package(${package} QUIET)
    set(${option} ${${package}_FOUND})
    message(STATUS "${option}: AUTO, and ${package} found: ${${package}_FOUND}")
  endif()
endmacro()
quorvel_resolve_auto(QUORVEL_BUILD_TESTS GTest)
quorvel_resolve_auto(QUORVEL_BUILD_BENCHMARKS benchmark)

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

add_library(quorvel_options INTERFACE)
target_include_directories(quorvel_options INTERFACE "${PROJECT_SOURCE_DIR}")
target_compile_options(quorvel_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Werror
  # Results are the same bits on every compiler and instruction set: no fused multiply-add unless the source asks for it.
  -ffp-contract=off
  # And the same bytes in every folder that the sources are built in.
  $<$<CONFIG:Release>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>)
if(QUORVEL_SANITIZE)
  # The sanitizers' checks make GCC take what is initialised, in the standard library too, for uninitialised.
  target_compile_options(quorvel_options INTERFACE $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_compile_options(quorvel_options INTERFACE
    -fsanitize=${QUORVEL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(quorvel_options INTERFACE -fsanitize=${QUORVEL_SANITIZE})
endif()

# Files of such a target are compiled together, so their names must differ even where they are local to a file. The
# effect and its modules are never joined: their kernels are compiled for different processors.
function(quorvel_join_files target)
  set_target_properties(${target} PROPERTIES UNITY_BUILD ${QUORVEL_JOIN_FILES} UNITY_BUILD_BATCH_SIZE 8)
endfunction()
