# SPDX-License-Identifier: MIT
# Toolchain file of scripts/check-port: Debian's cross compiler of PORT_TRIPLET (aarch64-linux-gnu), and headers and
# libraries from a root of that architecture, PORT_ROOT. Programs that the build runs are this machine's.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES PORT_TRIPLET PORT_ROOT)
string(REGEX REPLACE "-.*" "" CMAKE_SYSTEM_PROCESSOR ${PORT_TRIPLET})
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSROOT ${PORT_ROOT})
set(CMAKE_CXX_COMPILER ${PORT_TRIPLET}-g++)

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${PORT_ROOT})
set(ENV{PKG_CONFIG_LIBDIR} ${PORT_ROOT}/usr/lib/${PORT_TRIPLET}/pkgconfig:${PORT_ROOT}/usr/share/pkgconfig)

# Qt's tools run here, so they are this machine's, too.
set(QT_HOST_PATH /usr)

# A cross compiler does not find mold by its name, only as the `ld` of a folder.
if(IS_DIRECTORY /usr/libexec/mold)
  set(CMAKE_EXE_LINKER_FLAGS_INIT -B/usr/libexec/mold)
  set(CMAKE_SHARED_LINKER_FLAGS_INIT -B/usr/libexec/mold)
  set(CMAKE_MODULE_LINKER_FLAGS_INIT -B/usr/libexec/mold)
endif()
