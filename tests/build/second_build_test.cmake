# Builds the program alone with product data of its own, then changes the data in place and builds
# again: each program must carry the key of its data and no other. Nothing is optimized: that takes
# time, and changes no data.
cmake_minimum_required(VERSION 3.25)

set(vectors tests/data/vectors)
set(build "${WORK}/build")
set(copy "${WORK}/set")
file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}")

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE status OUTPUT_VARIABLE said ERROR_VARIABLE said
    WORKING_DIRECTORY "${WORK}")
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "${ARGV}: ${status}\n${said}")
  endif()
  set(said "${said}" PARENT_SCOPE)
endfunction()

macro(configure folder)
  run("${CMAKE_COMMAND}" -S "${PROJECT}" -B "${build}" -G "${GENERATOR}"
    "-DCMAKE_CXX_COMPILER=${COMPILER}" "-DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER}"
    -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG= -DINSTALLER_BUILD_TESTS=OFF
    -DINSTALLER_BUILD_TOOLS=OFF
    "-DPRODUCT_DATA_DIR=${folder}")
endmacro()

macro(build_program)
  run("${CMAKE_COMMAND}" --build "${build}" --target installer --parallel 2)
endmacro()

function(read_key set result)
  file(READ "${PROJECT}/${vectors}/product-${set}/public-key" key)
  string(STRIP "${key}" key)
  set(${result} "${key}" PARENT_SCOPE)
endfunction()
read_key(a key_a)
read_key(b key_b)

function(expect_key wanted other)
  file(READ "${build}/installer" program HEX)
  string(FIND "${program}" "${wanted}" position)
  if(position EQUAL -1)
    message(FATAL_ERROR "the program lacks the key of its product data: ${wanted}")
  endif()
  string(FIND "${program}" "${other}" position)
  if(NOT position EQUAL -1)
    message(FATAL_ERROR "the program has another product's key: ${other}")
  endif()
endfunction()

# A relative folder is the project's, wherever the build is started.
configure(${vectors}/product-b)
string(FIND "${said}" "a development set, its signing key is public: not for a product" position)
if(position EQUAL -1)
  message(FATAL_ERROR "nothing was said of the development key:\n${said}")
endif()
build_program()
expect_key(${key_b} ${key_a})

# A folder without a signing key is a product's: nothing is said of it.
file(COPY "${PROJECT}/${vectors}/product-b/" DESTINATION "${copy}" PATTERN signing-key EXCLUDE)
configure("${copy}")
string(FIND "${said}" "development set" position)
if(NOT position EQUAL -1)
  message(FATAL_ERROR "a set without a signing key was called a development set:\n${said}")
endif()

# A changed file is seen by the next build.
file(WRITE "${copy}/public-key" "${key_a}\n")
build_program()
expect_key(${key_a} ${key_b})
