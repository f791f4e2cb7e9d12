# What an installation holds beside programs and libraries. Components: Programs, Development, FaultKit.
include(GNUInstallDirs)

set(doc_folder ${CMAKE_INSTALL_DATADIR}/doc)
install(FILES packaging/copyright DESTINATION ${doc_folder}/gpuprowler COMPONENT Programs)

if(GPUPROWLER_PLATFORM STREQUAL linux)
  install(FILES completions/prowl.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME prowl
          COMPONENT Programs)
  install(FILES completions/_prowl DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT Programs)
  install(FILES completions/prowl.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT Programs)
endif()

# Manual pages are made where scdoc is.
find_program(GPUPROWLER_SCDOC scdoc)
function(gpuprowler_manual component)
  if(NOT GPUPROWLER_SCDOC)
    return()
  endif()
  foreach(page IN LISTS ARGN)
    configure_file(man/${page}.scd ${PROJECT_BINARY_DIR}/man/${page}.scd @ONLY)
    add_custom_command(
      OUTPUT ${PROJECT_BINARY_DIR}/man/${page}
      COMMAND ${GPUPROWLER_SCDOC} < ${page}.scd > ${page}
      DEPENDS ${PROJECT_BINARY_DIR}/man/${page}.scd
      WORKING_DIRECTORY ${PROJECT_BINARY_DIR}/man
      VERBATIM)
    string(REGEX MATCH "[0-9]$" section ${page})
    install(FILES ${PROJECT_BINARY_DIR}/man/${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section}
            COMPONENT ${component})
  endforeach()
  list(TRANSFORM ARGN PREPEND ${PROJECT_BINARY_DIR}/man/ OUTPUT_VARIABLE pages)
  add_custom_target(manual_${component} ALL DEPENDS ${pages})
endfunction()
gpuprowler_manual(Programs gpuprowler.1 prowl.1 gpuprowler-report.5)
if(GPUPROWLER_FAULTKIT)
  gpuprowler_manual(FaultKit gpuprowler-faultkit.1)
endif()
