# What every target of this project is compiled with.
option(QUORVEL_BUILD_CLI "Build the command-line program (needs CLI11 and nlohmann_json)" ON)
option(QUORVEL_PICTURES "Build what reads and writes pictures (needs OpenImageIO)" ON)
option(QUORVEL_BUILD_TESTS "Build the tests (needs GoogleTest)" ON)
option(QUORVEL_BUILD_BENCHMARKS "Build the benchmarks (needs Google Benchmark)" OFF)
set(QUORVEL_SANITIZE "" CACHE STRING "Sanitizers, comma-separated: address,undefined or thread")

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
  # Results are the same bits on every compiler and instruction set: no fused multiply-add behind our back.
  -ffp-contract=off
  # And the same bytes in every folder that the sources are built in.
  $<$<CONFIG:Release>:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>)
if(QUORVEL_SANITIZE)
  target_compile_options(quorvel_options INTERFACE
    -fsanitize=${QUORVEL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(quorvel_options INTERFACE -fsanitize=${QUORVEL_SANITIZE})
endif()
