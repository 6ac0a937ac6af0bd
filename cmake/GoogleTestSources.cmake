# GTest::gtest_main from GoogleTest's sources: no distribution has it built for other platforms than its own.
find_path(QUORVEL_GTEST_SOURCES googletest/src/gtest-all.cc PATHS /usr/src/googletest REQUIRED
          NO_CMAKE_FIND_ROOT_PATH DOC "The sources of GoogleTest")
add_library(gtest_main STATIC
  "${QUORVEL_GTEST_SOURCES}/googletest/src/gtest-all.cc"
  "${QUORVEL_GTEST_SOURCES}/googletest/src/gtest_main.cc")
target_include_directories(gtest_main SYSTEM
  PUBLIC "${QUORVEL_GTEST_SOURCES}/googletest/include" PRIVATE "${QUORVEL_GTEST_SOURCES}/googletest")
add_library(GTest::gtest_main ALIAS gtest_main)
