find_package(GTest REQUIRED)
find_package(nlohmann_json REQUIRED)
find_package(Python3 COMPONENTS Interpreter REQUIRED)
include(GoogleTest)

# Read from the environment at configure time: a folder of recorded answers instead of tests/data/vectors, and a folder of
# other projects' files, whose tests are skipped without it.
set(TARVEL_VECTORS "$ENV{TARVEL_VECTORS}")
set(TARVEL_SAMPLES "$ENV{TARVEL_SAMPLES}")

set(TARVEL_TEST_ENVIRONMENT
  "TARVEL_VECTORS=${TARVEL_VECTORS}"
  "TARVEL_SAMPLES=${TARVEL_SAMPLES}"
  "TARVEL_SOURCE_DIR=${PROJECT_SOURCE_DIR}"
  "LC_ALL=C.UTF-8")

# tarvel_quick_to_compile(target): test code with precompiled headers and each folder as one file, since compiling the tests
# one by one takes longer than everything else.
function(tarvel_quick_to_compile target)
  if(TARVEL_FUZZERS)
    return()
  endif()
  if(NOT TARGET tarvel_test_headers)
    # An executable, since libraries are compiled with other flags (PIC).
    file(GENERATE OUTPUT "${PROJECT_BINARY_DIR}/test_headers.cpp" CONTENT "int main() {}\n")
    add_executable(tarvel_test_headers "${PROJECT_BINARY_DIR}/test_headers.cpp")
    target_link_libraries(tarvel_test_headers PRIVATE tarvel_flags GTest::gmock GTest::gtest nlohmann_json::nlohmann_json)
    tarvel_unoptimised(tarvel_test_headers)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
      # So that ccache may answer with an older file of the same content.
      target_compile_options(tarvel_test_headers PRIVATE "SHELL:-Xclang -fno-pch-timestamp")
    endif()
    target_precompile_headers(tarvel_test_headers PRIVATE <algorithm> <array> <chrono> <filesystem> <fstream> <functional>
      <map> <memory> <optional> <random> <set> <string> <thread> <vector> <gmock/gmock.h> <gtest/gtest.h>
      <nlohmann/json.hpp>)
  endif()
  tarvel_unoptimised(${target})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # GCC 12 finds faults in the standard library's strings when it optimises so much code at once.
    target_compile_options(${target} PRIVATE -Wno-array-bounds -Wno-restrict -Wno-stringop-overflow
      -Wno-stringop-overread)
  endif()
  target_precompile_headers(${target} REUSE_FROM tarvel_test_headers)
  tarvel_unity(${target})
endfunction()

# tarvel_sharded_test(name): the program's tests in a few processes, since each process costs a sanitized program a tenth of
# a second. In the other builds every test is a process of its own.
function(tarvel_sharded_test name)
  set(shards 8)
  foreach(shard RANGE 1 ${shards})
    math(EXPR index "${shard} - 1")
    add_test(NAME ${name}.${shard}_of_${shards} COMMAND ${name})
    set_tests_properties(${name}.${shard}_of_${shards} PROPERTIES TIMEOUT 900
      ENVIRONMENT "${TARVEL_TEST_ENVIRONMENT};GTEST_TOTAL_SHARDS=${shards};GTEST_SHARD_INDEX=${index}")
  endforeach()
endfunction()

# tarvel_test(name [DEPENDS target...]): the sources of the current folder and those below as one GoogleTest program.
function(tarvel_test name)
  cmake_parse_arguments(ARG "" "" "DEPENDS" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS *.cpp *.h)
  add_executable(${name} ${sources})
  target_link_libraries(${name} PRIVATE tarvel_flags ${ARG_DEPENDS} GTest::gmock GTest::gtest_main
    nlohmann_json::nlohmann_json)
  tarvel_quick_to_compile(${name})
  if(TARVEL_SANITIZERS)
    tarvel_sharded_test(${name})
    return()
  endif()
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 120 TEST_LIST ${name}_list PROPERTIES TIMEOUT 600)
  # gtest_discover_tests() would split the list and pass only the first variable.
  set(script "${CMAKE_CURRENT_BINARY_DIR}/${name}_environment.cmake")
  file(CONFIGURE OUTPUT "${script}" @ONLY
    CONTENT "set_tests_properties(\${@name@_list} PROPERTIES ENVIRONMENT \"@TARVEL_TEST_ENVIRONMENT@\")\n")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES "${script}")
endfunction()

# tarvel_script_test(name script [ENVIRONMENT VARIABLE=value...]): a Python script, skipped when it exits with 77, as
# tests/support/python/runner.py does when every test of it was skipped.
function(tarvel_script_test name script)
  cmake_parse_arguments(ARG "" "" "ENVIRONMENT" ${ARGN})
  add_test(NAME ${name} COMMAND Python3::Interpreter "${script}")
  set_tests_properties(${name} PROPERTIES TIMEOUT 600 SKIP_RETURN_CODE 77)
  set_property(TEST ${name} PROPERTY ENVIRONMENT
    ${TARVEL_TEST_ENVIRONMENT}
    "PYTHONPATH=${PROJECT_SOURCE_DIR}/tests/support/python"
    "PYTHONDONTWRITEBYTECODE=1"
    "TARVEL_BIN=$<TARGET_FILE:tarvel>"
    "TARVEL_HELPER=$<TARGET_FILE:TarvelHelper>"
    "TARVEL_UPDATE_CHECK=$<TARGET_FILE:tarvel-update-check>"
    "TARVEL_SANITIZERS=${TARVEL_SANITIZERS}"
    ${ARG_ENVIRONMENT})
endfunction()

# tarvel_script_tests(prefix [EXCLUDE name...] [ENVIRONMENT VARIABLE=value...]): every *_test.py of the current folder as
# the test prefix.name.
function(tarvel_script_tests prefix)
  cmake_parse_arguments(ARG "" "" "EXCLUDE;ENVIRONMENT" ${ARGN})
  file(GLOB scripts CONFIGURE_DEPENDS *_test.py)
  foreach(script IN LISTS scripts)
    get_filename_component(name "${script}" NAME_WE)
    if(NOT name IN_LIST ARG_EXCLUDE)
      tarvel_script_test(${prefix}.${name} "${script}" ENVIRONMENT ${ARG_ENVIRONMENT})
    endif()
  endforeach()
endfunction()

# tarvel_fuzzer(name [DEPENDS target...]): name.cpp under libFuzzer, or, without it, under a main that replays the corpus,
# which is unpacked into the build folder.
function(tarvel_fuzzer name)
  cmake_parse_arguments(ARG "" "" "DEPENDS" ${ARGN})
  add_executable(${name} ${name}.cpp)
  target_link_libraries(${name} PRIVATE tarvel_flags ${ARG_DEPENDS})
  if(TARVEL_FUZZERS)
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  else()
    if(NOT TARGET fuzz_replay)
      add_library(fuzz_replay OBJECT replay_main.cpp)
      target_link_libraries(fuzz_replay PRIVATE tarvel_flags)
    endif()
    target_link_libraries(${name} PRIVATE fuzz_replay)
    set(archive "${PROJECT_SOURCE_DIR}/fuzz/corpus/${name}.tar.xz")
    set(folders "${CMAKE_CURRENT_BINARY_DIR}/corpus/${name}")
    add_custom_command(OUTPUT "${folders}.unpacked"
      COMMAND "${CMAKE_COMMAND}" -E rm -rf "${folders}"
      COMMAND "${CMAKE_COMMAND}" -E make_directory "${folders}"
      COMMAND "${CMAKE_COMMAND}" -E chdir "${folders}" "${CMAKE_COMMAND}" -E tar xf "${archive}"
      COMMAND "${CMAKE_COMMAND}" -E touch "${folders}.unpacked"
      DEPENDS "${archive}")
    target_sources(${name} PRIVATE "${folders}.unpacked")
    # Only a target that once crashed has this folder.
    file(GLOB crashes CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/fuzz/crashes/${name}/*")
    if(crashes)
      list(APPEND folders "${PROJECT_SOURCE_DIR}/fuzz/crashes/${name}")
    endif()
    add_test(NAME replay.${name} COMMAND ${name} ${folders})
    set_tests_properties(replay.${name} PROPERTIES TIMEOUT 600)
  endif()
endfunction()
