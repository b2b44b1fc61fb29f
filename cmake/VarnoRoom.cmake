# Helpers every room uses, so that its CMakeLists.txt says only what it holds and whom it knows.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)

# Linux, 64-bit file offsets also where off_t would be 32 bits wide.
add_compile_definitions(_GNU_SOURCE _FILE_OFFSET_BITS=64)
add_compile_options(-Wall -Wextra -Werror -fno-strict-aliasing)
if(VARNO_SANITIZE)
  add_compile_options(-fsanitize=${VARNO_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${VARNO_SANITIZE})
endif()

# varno_room(NAME SOURCES file... [LINKS target...]): the static library of one room.
function(varno_room name)
  cmake_parse_arguments(ROOM "" "" "SOURCES;LINKS" ${ARGN})
  add_library(${name} STATIC ${ROOM_SOURCES})
  target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR})
  target_link_libraries(${name} PUBLIC ${ROOM_LINKS})
endfunction()

# varno_package(TARGET pkg-config-module...): links system libraries found through pkg-config, privately.
function(varno_package target)
  foreach(module ${ARGN})
    if(NOT TARGET PkgConfig::${module})
      pkg_check_modules(${module} REQUIRED IMPORTED_TARGET GLOBAL ${module})
    endif()
    target_link_libraries(${target} PRIVATE PkgConfig::${module})
  endforeach()
endfunction()

# varno_test(NAME SOURCES file... [LINKS target...] [SHARDS n]): one GoogleTest program, run by ctest from the source
# tree's root, as n tests side by side that share its cases. Each leaves its report in the build's folder reports/.
function(varno_test name)
  cmake_parse_arguments(TEST "" "SHARDS" "SOURCES;LINKS" ${ARGN})
  if(NOT TARGET GTest::gtest)
    find_package(GTest REQUIRED)
  endif()
  if(NOT TEST_SHARDS)
    set(TEST_SHARDS 1)
  endif()
  add_executable(${name} ${TEST_SOURCES})
  target_include_directories(${name} PRIVATE ${CMAKE_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE ${TEST_LINKS} GTest::gtest GTest::gmock)
  # Most of a test file's compile time is GoogleTest: a few files share it. What replaces functions of the C++ library
  # stays apart.
  set_target_properties(${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 5)
  list(FILTER TEST_SOURCES INCLUDE REGEX "support/")
  set_source_files_properties(${TEST_SOURCES} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
  foreach(shard RANGE 1 ${TEST_SHARDS})
    math(EXPR index "${shard} - 1")
    add_test(NAME ${name}_${shard} COMMAND ${name} WORKING_DIRECTORY ${CMAKE_SOURCE_DIR})
    set_tests_properties(${name}_${shard} PROPERTIES
      TIMEOUT 900  # emulated, or under a sanitizer
      ENVIRONMENT "GTEST_TOTAL_SHARDS=${TEST_SHARDS};GTEST_SHARD_INDEX=${index};\
GTEST_OUTPUT=xml:${CMAKE_BINARY_DIR}/reports/${name}_${shard}.xml")
  endforeach()
endfunction()
