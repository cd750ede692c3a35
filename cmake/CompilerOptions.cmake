# How the project is compiled:
#   project_options   everything: language, warnings, definitions, instrumentation
#   program_options   in addition, what runs on the router: small, without exceptions and RTTI
#   add_program(<name> <product data target>)   an installer for one product

add_library(project_options INTERFACE)
target_compile_features(project_options INTERFACE cxx_std_17)
target_include_directories(project_options INTERFACE "${CMAKE_SOURCE_DIR}")
# The target is 32-bit: files over 2 GB and dates after 2038 need the wide types.
target_compile_definitions(project_options INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
target_compile_options(project_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast
  -Wnon-virtual-dtor -Woverloaded-virtual -Wformat=2 -Wcast-qual
  $<$<CXX_COMPILER_ID:Clang>:-Wreserved-identifier>
  $<$<BOOL:${INSTALLER_WERROR}>:-Werror>)
set(CMAKE_CXX_EXTENSIONS OFF)

if(INSTALLER_SANITIZE)
  # vptr needs the RTTI that the program does without.
  set(sanitizers -fsanitize=address,undefined -fno-sanitize=vptr -fno-sanitize-recover=all)
  # Of debug information a report needs the lines; of a test the name of the function will do.
  target_compile_options(project_options INTERFACE ${sanitizers} -fno-omit-frame-pointer -g1)
  target_link_options(project_options INTERFACE ${sanitizers})
  # Tests start executables by the thousand, and what can be loaded anywhere has to be relocated
  # first, in every table of the sanitizers.
  target_link_options(project_options INTERFACE
    $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-no-pie>)
  # The compilers do not agree on a name of their own for it.
  target_compile_definitions(project_options INTERFACE INSTALLER_SANITIZED)
  # Compiled in, because the whole-program tests run with an environment of their own.
  target_sources(project_options INTERFACE
    "$<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:${CMAKE_SOURCE_DIR}/cmake/sanitizer_options.cpp>")
endif()

add_library(program_options INTERFACE)
target_compile_options(program_options INTERFACE
  -fno-exceptions -fno-rtti -fvisibility=hidden -ffunction-sections -fdata-sections)

# On the board every byte counts, and nothing of the program is loaded at an address of its own:
# calls through the procedure linkage table need no global pointer set up in every function, and
# nothing reads tables for unwinding. One thread needs no guards around local statics. Without rules
# about aliases, functions that differ only in the types that they point to can be one.
if(INSTALLER_FOR_BOARD)
  target_compile_options(program_options INTERFACE
    -fno-pic -fno-pie -mplt -mno-shared -fno-asynchronous-unwind-tables -fno-unwind-tables
    -fno-threadsafe-statics -fno-strict-aliasing -mtune=24kc
    -flto=auto -ffat-lto-objects)
  # Tests link the same objects; optimizing the program anew for each of them would take minutes.
  target_link_options(project_options INTERFACE
    -no-pie $<$<NOT:$<BOOL:$<TARGET_PROPERTY:OPTIMIZED_AS_A_WHOLE>>>:-fno-lto>)
endif()

# Only the program is optimized and counted: tests take most of the time to compile, many times as
# long when optimized under the sanitizers.
if(INSTALLER_SANITIZE)
  target_compile_options(program_options INTERFACE -O1
    # gcc sees things between its own checks that are not there.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
endif()

if(INSTALLER_COVERAGE)
  target_compile_options(program_options INTERFACE --coverage)
  target_link_options(project_options INTERFACE --coverage)
endif()

# For what does not run on the router, which is most of what is compiled. A compiler cache cannot
# look into precompiled headers. That a file does not include what it needs is seen without them
# only: scripts/tidy takes the commands of a build that is not quick.
set(PRECOMPILE_HOST_HEADERS ${INSTALLER_QUICK_BUILD})
if(CMAKE_CXX_COMPILER_LAUNCHER)
  set(PRECOMPILE_HOST_HEADERS OFF)
endif()

# For the same. gcc spends a fifth of the time of a large file on looking for memory to use again, if
# it is not told that there is enough.
set(HOST_COMPILE_OPTIONS $<$<CXX_COMPILER_ID:GNU>:--param=ggc-min-heapsize=400000>)

function(add_program name product)
  add_executable(${name} "${CMAKE_SOURCE_DIR}/main/main.cpp")
  target_link_libraries(${name} PRIVATE installer_lib program_options ${product})
  target_link_options(${name} PRIVATE -Wl,--gc-sections)
  if(INSTALLER_FOR_BOARD)
    # The map says where the bytes are: scripts/size-report.
    target_sources(${name} PRIVATE ${INSTALLER_BOARD_RUNTIME})
    # Ahead of the library's own, which the linker would take for symbols that it meets late.
    set_source_files_properties(${INSTALLER_BOARD_RUNTIME} PROPERTIES COMPILE_OPTIONS -fno-lto)
    set_target_properties(${name} PROPERTIES OPTIMIZED_AS_A_WHOLE ON)
    # What is written to begins where it would in the file, not on a page of its own there; a quick
    # search in the table of symbols is not worth its empty places.
    target_link_options(${name} PRIVATE -Os -flto=auto -flto-partition=one
      -Wl,--as-needed,-O0,--build-id=none,-z,norelro,-z,common-page-size=16
      "-Wl,-Map=$<TARGET_FILE:${name}>.map")
  endif()
endfunction()
