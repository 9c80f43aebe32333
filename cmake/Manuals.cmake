# SPDX-License-Identifier: MIT
# feedline_manual(<page>...): pages of packaging/man/, installed with the project's version and date in their heads.
function(feedline_manual)
  foreach(page IN LISTS ARGN)
    configure_file(${PROJECT_SOURCE_DIR}/packaging/man/${page} ${PROJECT_BINARY_DIR}/man/${page} @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/man/${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  endforeach()
endfunction()
