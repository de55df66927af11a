# SPDX-License-Identifier: BSD-3-Clause
#
# How every target of the project is compiled, and the function that makes a library of one
# folder: the dependencies listed there are the only upward links that exist.

add_library(trevalon_options INTERFACE)
target_compile_features(trevalon_options INTERFACE cxx_std_20)
target_compile_options(trevalon_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual
  -Wcast-align -Wunused -Wnull-dereference -Wdouble-promotion -Wformat=2
  # A formula is evaluated as it is written: no contraction into fused multiply-adds.
  -ffp-contract=off)
target_include_directories(trevalon_options INTERFACE "${PROJECT_SOURCE_DIR}/src")
if(TREVALON_SANITIZE)
  target_compile_options(trevalon_options INTERFACE
    -fsanitize=${TREVALON_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(trevalon_options INTERFACE -fsanitize=${TREVALON_SANITIZE})
endif()

# trevalon_library(name SOURCES ... DEPENDS ...): one static library for one folder.
function(trevalon_library name)
  cmake_parse_arguments(arg "" "" "SOURCES;DEPENDS;PRIVATE_DEPENDS" ${ARGN})
  add_library(${name} STATIC ${arg_SOURCES})
  set_target_properties(${name} PROPERTIES
    POSITION_INDEPENDENT_CODE ON
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    CXX_EXTENSIONS OFF)
  target_link_libraries(${name} PUBLIC trevalon_options ${arg_DEPENDS} PRIVATE ${arg_PRIVATE_DEPENDS})
endfunction()
