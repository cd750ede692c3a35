# The board, 32-bit little-endian MIPS: programs that use its shared libraries.
include("${CMAKE_CURRENT_LIST_DIR}/board.cmake")
set(sysroot "${INSTALLER_TARGET_DIR}/sysroot")

# The cross compiler brings the C and C++ libraries; what else there is was unpacked.
include_directories(SYSTEM "${sysroot}/usr/include")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-L${sysroot}/usr/lib/mipsel-linux-gnu -Wl,-rpath-link,${sysroot}/lib/mipsel-linux-gnu")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "${CMAKE_EXE_LINKER_FLAGS_INIT}")
set(CMAKE_LIBRARY_ARCHITECTURE mipsel-linux-gnu)

set(CMAKE_FIND_ROOT_PATH "${sysroot}" /usr/mipsel-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR /usr/bin/qemu-mipsel-static -L "${sysroot}")
