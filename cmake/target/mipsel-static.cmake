# The board without its libraries: one self-contained file, with a C library, a C++ library and a
# zlib that were built for it.
include("${CMAKE_CURRENT_LIST_DIR}/board.cmake")
set(musl "${INSTALLER_TARGET_DIR}/musl")

# The C++ library's headers look for those of the C library behind themselves.
set(CMAKE_CXX_FLAGS_INIT "-specs=${musl}/musl.specs -nostdinc++ -isystem ${musl}/cxx/include -isystem ${musl}/cxx/include/mipsel-linux-musl")
set(CMAKE_C_FLAGS_INIT "-specs=${musl}/musl.specs")
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static -no-pie -nodefaultlibs -L${musl}/cxx/lib")
set(CMAKE_CXX_STANDARD_LIBRARIES "-Wl,--start-group -lstdc++ -lc -lgcc -lgcc_eh -Wl,--end-group")

set(ZLIB_USE_STATIC_LIBS ON)
set(CMAKE_FIND_ROOT_PATH "${musl}/zlib")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(INSTALLER_BOARD_RUNTIME "${CMAKE_CURRENT_LIST_DIR}/runtime.cpp")
# A program that the compiler's checks link would lack the functions of runtime.cpp.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CMAKE_CROSSCOMPILING_EMULATOR /usr/bin/qemu-mipsel-static)
