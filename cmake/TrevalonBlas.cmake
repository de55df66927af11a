# SPDX-License-Identifier: BSD-3-Clause
#
# Target trevalon_blas: CBLAS and LAPACKE. By default those of the PyPI package
# scipy-openblas32, found through the pkg-config text that the package writes itself: the
# OpenBLAS of older distributions does not know recent processors. TREVALON_BLAS_LIBRARY is
# then the shared library that the wheel carries along.

find_package(PkgConfig REQUIRED)

if(TREVALON_SYSTEM_BLAS)
  pkg_check_modules(openblas REQUIRED IMPORTED_TARGET openblas)
  pkg_check_modules(lapacke REQUIRED IMPORTED_TARGET lapacke)
  add_library(trevalon_blas INTERFACE)
  target_link_libraries(trevalon_blas INTERFACE PkgConfig::openblas PkgConfig::lapacke)
else()
  execute_process(
    COMMAND "${Python_EXECUTABLE}" -c "import scipy_openblas32 as b; print(b.get_pkg_config())"
    OUTPUT_VARIABLE pkg_config_text RESULT_VARIABLE status ERROR_QUIET)
  if(status)
    message(FATAL_ERROR
      "scipy-openblas32 is not installed for ${Python_EXECUTABLE}: run './run build', or "
      "'pip install scipy-openblas32', or configure with -DTREVALON_SYSTEM_BLAS=ON")
  endif()
  set(pkg_config_folder "${CMAKE_CURRENT_BINARY_DIR}/pkgconfig")
  file(WRITE "${pkg_config_folder}/trevalon-openblas.pc" "${pkg_config_text}")
  set(ENV{PKG_CONFIG_PATH} "${pkg_config_folder}:$ENV{PKG_CONFIG_PATH}")
  pkg_check_modules(openblas REQUIRED trevalon-openblas)
  pkg_get_variable(openblas_libdir trevalon-openblas libdir)
  find_library(TREVALON_BLAS_LIBRARY NAMES scipy_openblas REQUIRED
    PATHS "${openblas_libdir}" NO_DEFAULT_PATH)
  add_library(trevalon_blas SHARED IMPORTED GLOBAL)
  set_target_properties(trevalon_blas PROPERTIES
    IMPORTED_LOCATION "${TREVALON_BLAS_LIBRARY}"
    INTERFACE_INCLUDE_DIRECTORIES "${openblas_INCLUDE_DIRS}"
    INTERFACE_COMPILE_OPTIONS "${openblas_CFLAGS_OTHER}")
endif()
