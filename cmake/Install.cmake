# What `cmake --install` puts where: the program is the administrator's, tpk is everybody's.
include(GNUInstallDirs)

function(install_program)
  install(TARGETS installer RUNTIME DESTINATION "${CMAKE_INSTALL_SBINDIR}")
  install(FILES docs/man/installer.8 DESTINATION "${CMAKE_INSTALL_MANDIR}/man8")
  # For who uses it; how the project is built, measured and why is for those who have its source.
  foreach(document IN ITEMS database format lint packaging product-data)
    install(FILES docs/${document}.md DESTINATION "${CMAKE_INSTALL_DOCDIR}")
  endforeach()
endfunction()

function(install_tools)
  install(TARGETS tpk RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
  install(FILES docs/man/tpk.1 DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")
  install(FILES docs/man/tpk.5 DESTINATION "${CMAKE_INSTALL_MANDIR}/man5")
  install(FILES tools/tpk/command/completion/tpk
    DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions")
  install(DIRECTORY examples DESTINATION "${CMAKE_INSTALL_DOCDIR}" USE_SOURCE_PERMISSIONS)
endfunction()
