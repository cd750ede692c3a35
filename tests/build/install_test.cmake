# Installs the build into an empty folder, compares what is there with what a distribution expects,
# and runs the two programs from where they are.
cmake_minimum_required(VERSION 3.25)

set(root "${WORK}/root")
file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}")

function(run status wanted)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE found OUTPUT_VARIABLE said ERROR_VARIABLE said
    WORKING_DIRECTORY "${WORK}")
  if(NOT found EQUAL status OR NOT said MATCHES "${wanted}")
    message(FATAL_ERROR "${ARGN}: ${found}, expected ${status} and \"${wanted}\":\n${said}")
  endif()
endfunction()

run(0 "Installing" "${CMAKE_COMMAND}" -E env "DESTDIR=${root}"
  "${CMAKE_COMMAND}" --install "${BUILD}" --prefix /usr)

set(wanted
  usr/bin/tpk
  usr/sbin/installer
  usr/share/bash-completion/completions/tpk
  usr/share/man/man1/tpk.1
  usr/share/man/man5/tpk.5
  usr/share/man/man8/installer.8)
foreach(document IN ITEMS database format lint packaging product-data)
  list(APPEND wanted "usr/share/doc/installer/${document}.md")
endforeach()
file(GLOB_RECURSE examples RELATIVE "${PROJECT}" "${PROJECT}/examples/*")
list(TRANSFORM examples PREPEND usr/share/doc/installer/)
list(APPEND wanted ${examples})
list(SORT wanted)

file(GLOB_RECURSE found RELATIVE "${root}" "${root}/*")
list(SORT found)
if(NOT found STREQUAL wanted)
  list(JOIN found "\n" found)
  list(JOIN wanted "\n" wanted)
  message(FATAL_ERROR "installed:\n${found}\nexpected:\n${wanted}")
endif()

run(0 "^tpk ${VERSION}\n$" "${root}/usr/bin/tpk" --version)
run(0 "^usage: installer " "${root}/usr/sbin/installer" --help)
