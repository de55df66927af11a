# SPDX-License-Identifier: BSD-3-Clause
#
# What goes into the wheel: extension modules, and beside them the BLAS library that they were
# linked with, found at run time relative to each module. The target wheel_modules builds them
# and nothing else.
add_custom_target(wheel_modules)

# trevalon_wheel_module(name FOLDER folder): puts a module into a folder of the wheel.
function(trevalon_wheel_module name)
  cmake_parse_arguments(arg "" "FOLDER" "" ${ARGN})
  add_dependencies(wheel_modules ${name})
  install(TARGETS ${name} LIBRARY DESTINATION "${arg_FOLDER}" COMPONENT python)
  if(TREVALON_BLAS_LIBRARY)
    file(RELATIVE_PATH libs "/wheel/${arg_FOLDER}" "/wheel/trevalon.libs")
    set_target_properties(${name} PROPERTIES INSTALL_RPATH "$ORIGIN/${libs}")
  endif()
endfunction()

trevalon_wheel_module(trevalon_impl FOLDER .)
trevalon_wheel_module(trevalon_core FOLDER trevalon)

if(TREVALON_BLAS_LIBRARY)
  install(FILES "${TREVALON_BLAS_LIBRARY}" DESTINATION trevalon.libs COMPONENT python)
endif()
