# SPDX-License-Identifier: BSD-3-Clause
#
# What goes into the wheel: the extension module, and beside it the BLAS library that it was
# linked with, found at run time relative to the module.

install(TARGETS trevalon_impl LIBRARY DESTINATION . COMPONENT python)
if(TREVALON_BLAS_LIBRARY)
  set_target_properties(trevalon_impl PROPERTIES INSTALL_RPATH "$ORIGIN/trevalon.libs")
  install(FILES "${TREVALON_BLAS_LIBRARY}" DESTINATION trevalon.libs COMPONENT python)
endif()
