# SPDX-License-Identifier: MIT
# A receiver that is plugged in later starts the service anew, unless feedlinectl finds that it listens.
set(FEEDLINE_UDEV_DIR lib/udev/rules.d CACHE STRING "Where rules for the device manager go")

foreach(manager IN ITEMS user system)
  set(FEEDLINE_MANAGER --${manager})
  configure_file(systemd/feedlined-receiver.service.in ${manager}/feedlined-receiver.service @ONLY)
endforeach()
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/user/feedlined-receiver.service DESTINATION ${FEEDLINE_UNIT_DIR})
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/system/feedlined-receiver.service DESTINATION ${FEEDLINE_SYSTEM_UNIT_DIR})
install(FILES udev/60-feedline.rules DESTINATION ${FEEDLINE_UDEV_DIR})
