# SPDX-License-Identifier: BSD-3-Clause
#
# What goes into the wheel: the extension modules, and beside them the BLAS library that they
# were linked with, found at run time relative to each module.

install(TARGETS trevalon_impl LIBRARY DESTINATION . COMPONENT python)
install(TARGETS trevalon_core LIBRARY DESTINATION trevalon COMPONENT python)
if(TREVALON_BLAS_LIBRARY)
  set_target_properties(trevalon_impl PROPERTIES INSTALL_RPATH "$ORIGIN/trevalon.libs")
  set_target_properties(trevalon_core PROPERTIES INSTALL_RPATH "$ORIGIN/../trevalon.libs")
  install(FILES "${TREVALON_BLAS_LIBRARY}" DESTINATION trevalon.libs COMPONENT python)
endif()
