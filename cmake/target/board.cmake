# What the toolchain files of the board share. The environment variable INSTALLER_TARGET_DIR, or
# build/target, is the folder that scripts/setup --target makes.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mipsel)
set(CMAKE_CXX_COMPILER mipsel-linux-gnu-g++)
set(CMAKE_C_COMPILER mipsel-linux-gnu-gcc)

if(DEFINED ENV{INSTALLER_TARGET_DIR})
  set(INSTALLER_TARGET_DIR "$ENV{INSTALLER_TARGET_DIR}")
else()
  cmake_path(ABSOLUTE_PATH CMAKE_CURRENT_LIST_DIR NORMALIZE OUTPUT_VARIABLE here)
  cmake_path(SET INSTALLER_TARGET_DIR NORMALIZE "${CMAKE_CURRENT_LIST_DIR}/../../build/target")
endif()
if(NOT EXISTS "${INSTALLER_TARGET_DIR}")
  message(FATAL_ERROR "\n there is no ${INSTALLER_TARGET_DIR}: scripts/setup --target makes it\n")
endif()

# See cmake/CompilerOptions.cmake for what this switches on.
set(INSTALLER_FOR_BOARD ON)
