# The product data: a folder of text files (docs/product-data.md) becomes a source file with the
# tables of stream/productdata.h.
#
#   add_product_data(<target> <folder>)
#     An object library that defines kBuiltInProductData. A relative folder is taken from the source
#     folder. What is wrong in the folder stops the configuration.
#   write_product_data(<folder> <output>)
#     The reading alone; works in a script too.
#
# Digits are hexadecimal and lower case; white space separates; "#" starts a comment that goes to the
# end of the line. The file signing-key is never read.

# file(READ) ends at a NUL byte and says nothing: what stands behind it would be lost.
function(_refuse_nul path expected)
  file(READ "${path}" bytes HEX)
  string(REGEX REPLACE "(..)" "\\1;" bytes "${bytes}")
  list(FIND bytes "00" position)
  if(NOT position EQUAL -1)
    message(FATAL_ERROR "\n product data: ${path}: ${expected}, found a NUL byte at ${position}\n")
  endif()
endfunction()

# The entries of one file, as a list in the variable named by result.
#   count    entries that the file must have
#   what     the entries, for messages
#   digits   digits of one entry
# Entries of two digits, the bytes of a number, may stand together.
function(_read_product_file path count what digits result)
  set(expected "expected ${count} ${what} of ${digits} lower-case hex digits")
  if(NOT EXISTS "${path}" OR IS_DIRECTORY "${path}")
    message(FATAL_ERROR "\n product data: ${path}: ${expected}, found no such file\n")
  endif()
  _refuse_nul("${path}" "${expected}")
  file(READ "${path}" text)
  string(REGEX REPLACE "#[^\n]*" "" text "${text}")
  # Before the text becomes a list: characters that are special in lists are bad digits as well.
  if(text MATCHES "[^0-9a-f \t\r\n]")
    set(bad "${CMAKE_MATCH_0}")
    string(FIND "${text}" "${bad}" position)
    string(SUBSTRING "${text}" 0 ${position} before)
    string(REGEX REPLACE "[^\n]" "" before "${before}")
    string(LENGTH "${before}" line)
    math(EXPR line "${line} + 1")
    message(FATAL_ERROR "\n product data: ${path}: ${expected}, found \"${bad}\" in line ${line}\n")
  endif()
  string(REGEX MATCHALL "[0-9a-f]+" entries "${text}")
  if(digits EQUAL 2)
    string(REGEX REPLACE "([0-9a-f][0-9a-f])" "\\1;" entries "${entries}")
    string(REGEX REPLACE ";+" ";" entries "${entries}")
    string(REGEX REPLACE ";$" "" entries "${entries}")
  endif()
  foreach(entry IN LISTS entries)
    string(LENGTH "${entry}" length)
    if(NOT length EQUAL digits)
      message(FATAL_ERROR
        "\n product data: ${path}: ${expected}, found \"${entry}\" of ${length}\n")
    endif()
  endforeach()
  list(LENGTH entries found)
  if(NOT found EQUAL count)
    message(FATAL_ERROR "\n product data: ${path}: ${expected}, found ${found}\n")
  endif()
  set(${result} "${entries}" PARENT_SCOPE)
endfunction()

# Initializers of an array of entries, and of an array of arrays of bytes.
function(_product_entries entries result)
  list(TRANSFORM entries REPLACE "(.+)" "0x\\1,")
  list(JOIN entries "" text)
  set(${result} "    {${text}}," PARENT_SCOPE)
endfunction()

function(_product_rows entries result)
  string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," rows "${entries}")
  list(TRANSFORM rows REPLACE "(.+)" "     {\\1},\n")
  list(JOIN rows "" text)
  set(${result} "    {\n${text}    }," PARENT_SCOPE)
endfunction()

function(write_product_data folder output)
  _read_product_file("${folder}/public-key" 32 bytes 2 key)
  _read_product_file("${folder}/root-selector" 32 bytes 2 selector)
  _read_product_file("${folder}/hash-state" 8 words 8 state)
  _read_product_file("${folder}/hash-constants" 64 words 8 constants)
  _read_product_file("${folder}/known-digests" 953 digests 40 digests)
  _product_entries("${key}" key)
  _product_entries("${selector}" selector)
  _product_entries("${state}" state)
  _product_entries("${constants}" constants)
  _product_rows("${digests}" digests)
  # Written only when it differs, so that what did not change is not compiled again.
  file(CONFIGURE OUTPUT "${output}" @ONLY CONTENT [[
// Made by cmake/ProductData.cmake from @folder@; not to be edited.
#include "stream/productdata.h"

const ProductData kBuiltInProductData = {
@key@
@selector@
@state@
@constants@
@digests@
};
]])
endfunction()

function(add_product_data target folder)
  cmake_path(ABSOLUTE_PATH folder BASE_DIRECTORY "${CMAKE_SOURCE_DIR}" NORMALIZE)
  set(output "${CMAKE_CURRENT_BINARY_DIR}/${target}.cpp")
  foreach(file IN ITEMS public-key root-selector hash-state hash-constants known-digests)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${folder}/${file}")
  endforeach()
  write_product_data("${folder}" "${output}")
  if(EXISTS "${folder}/signing-key")
    message(STATUS "product data: ${folder}: a development set, its signing key is public: "
                   "not for a product")
  endif()
  add_library(${target} OBJECT "${output}")
  target_link_libraries(${target} PRIVATE project_options program_options)
endfunction()
