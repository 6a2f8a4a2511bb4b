# Language standard, warnings, sanitizers and hardening, for all targets.

option(TARVEL_DEVELOPER "Treat warnings as errors" OFF)
set(TARVEL_SANITIZERS "" CACHE STRING "Sanitizers for all targets, such as address,undefined")
option(TARVEL_FUZZERS "Build fuzz targets with libFuzzer (needs clang)" OFF)
option(TARVEL_COVERAGE "Measure the coverage of the tests" OFF)

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(NOT TARVEL_SANITIZERS)
  include(CheckPIESupported)
  check_pie_supported()
endif()

add_library(tarvel_flags INTERFACE)
target_include_directories(tarvel_flags INTERFACE "${PROJECT_SOURCE_DIR}")
target_compile_options(tarvel_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wcast-qual
  -Wnon-virtual-dtor -Woverloaded-virtual -Wextra-semi
  -fstack-protector-strong -fstack-clash-protection)
# Release builds are reproducible: no path of the build machine.
target_compile_options(tarvel_flags INTERFACE "$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-ffile-prefix-map=${PROJECT_BINARY_DIR}=build;-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>")
# Linking unused libraries costs time at every start.
target_link_options(tarvel_flags INTERFACE -Wl,-z,relro -Wl,-z,now -Wl,--as-needed)
if(TARVEL_DEVELOPER)
  target_compile_options(tarvel_flags INTERFACE -Werror)
endif()
if(TARVEL_SANITIZERS)
  target_compile_options(tarvel_flags INTERFACE -fsanitize=${TARVEL_SANITIZERS} -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  # Without a fixed address, a sanitized program starts with 300,000 relocations.
  target_link_options(tarvel_flags INTERFACE -fsanitize=${TARVEL_SANITIZERS}
    $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-no-pie>)
else()
  # The sanitizers check these calls themselves. Without optimisation it is not possible.
  set(unoptimised "$<OR:$<CONFIG:Debug>,$<BOOL:$<TARGET_PROPERTY:TARVEL_UNOPTIMISED>>>")
  target_compile_options(tarvel_flags INTERFACE "$<$<NOT:${unoptimised}>:-D_FORTIFY_SOURCE=2>")
endif()
if(TARVEL_FUZZERS)
  target_compile_options(tarvel_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()
if(TARVEL_COVERAGE)
  target_compile_options(tarvel_flags INTERFACE --coverage)
  target_link_options(tarvel_flags INTERFACE --coverage)
endif()

# tarvel_hot(target): where a sort spends its time. Releases optimise it further.
function(tarvel_hot target)
  target_compile_options(${target} PRIVATE $<$<CONFIG:Release>:-O3>)
endfunction()

# tarvel_unoptimised(target): code of tests, where compiling takes longer than running.
function(tarvel_unoptimised target)
  set_target_properties(${target} PROPERTIES TARVEL_UNOPTIMISED ON)
  target_compile_options(${target} PRIVATE -O0)
endfunction()


# tarvel_unity(target): compiles the sources of each folder as one file, in a fraction of the time.
function(tarvel_unity target)
  if(TARVEL_FUZZERS)
    return()
  endif()
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # It takes a source that another one includes for a header.
    target_compile_options(${target} PRIVATE -Wno-subobject-linkage)
  endif()
  get_target_property(sources ${target} SOURCES)
  foreach(source IN LISTS sources)
    cmake_path(GET source PARENT_PATH folder)
    cmake_path(RELATIVE_PATH folder BASE_DIRECTORY "${PROJECT_SOURCE_DIR}")
    set_source_files_properties("${source}" PROPERTIES UNITY_GROUP "${folder}")
  endforeach()
endfunction()

# tarvel_sanitized_unity(target): the same under the sanitizers only. The other builds compile each source alone, which
# shows that it includes what it uses.
function(tarvel_sanitized_unity target)
  if(TARVEL_SANITIZERS)
    tarvel_unity(${target})
  endif()
endfunction()

# tarvel_developer_unity(target): in every build for development, for sources that mostly consist of third-party templates.
function(tarvel_developer_unity target)
  if(TARVEL_DEVELOPER)
    tarvel_unity(${target})
  endif()
endfunction()

# tarvel_library(name [DEPENDS target...]): a static library of all sources in the current folder and below.
function(tarvel_library name)
  cmake_parse_arguments(ARG "" "" "DEPENDS" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS *.cpp *.h)
  add_library(${name} STATIC ${sources})
  target_link_libraries(${name} PUBLIC tarvel_flags ${ARG_DEPENDS})
  tarvel_sanitized_unity(${name})
endfunction()
