# What an installation holds beside the programs. Components: Programs, Library, Development, FaultKit.
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

# --- Libraries and headers, and how a host finds them ------------------------------------------------------------

# On Windows those who use the library in C get all that they need with it.
set(linking Development)
if(GPUPROWLER_PLATFORM STREQUAL win)
  set(linking Library)
  install(FILES host/include/gpuprowler/gpuprowler.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/gpuprowler COMPONENT Library)
  install(FILES ${PROJECT_BINARY_DIR}/lib/gpuprowler.def DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Library OPTIONAL)
endif()
install(TARGETS gpuprowlershared EXPORT gpuprowler-shared
        LIBRARY COMPONENT Library NAMELINK_COMPONENT ${linking} RUNTIME COMPONENT Library
        ARCHIVE COMPONENT ${linking} INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES host/answer.schema.json DESTINATION ${CMAKE_INSTALL_DATADIR}/gpuprowler COMPONENT ${linking})
install(TARGETS kgx ztutil gpuprowlerhost EXPORT gpuprowler-static ARCHIVE COMPONENT Development
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY kgx/include/ ztutil/include/ host/include/ ${PROJECT_BINARY_DIR}/include/
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT Development)

set(made ${PROJECT_BINARY_DIR}/install)
set(config_folder ${CMAKE_INSTALL_LIBDIR}/cmake/gpuprowler)
configure_file(packaging/gpuprowler-config.cmake.in ${made}/gpuprowler-config.cmake @ONLY)
write_basic_package_version_file(${made}/gpuprowler-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${made}/gpuprowler-config.cmake ${made}/gpuprowler-config-version.cmake cmake/FindRE2.cmake
        DESTINATION ${config_folder} COMPONENT Development)
foreach(kind shared static)
  install(EXPORT gpuprowler-${kind} NAMESPACE gpuprowler:: DESTINATION ${config_folder} COMPONENT Development)
endforeach()

if(NOT GPUPROWLER_PLATFORM STREQUAL linux)
  install(FILES packaging/copyright DESTINATION . RENAME copyright.txt COMPONENT Programs)
  install(FILES README.md CHANGELOG.md DESTINATION . COMPONENT Programs)
  return()
endif()

set(pkgconfig_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
string(REGEX REPLACE "[^/]+" ".." prefix_from_pkgconfig ${pkgconfig_folder})
foreach(name gpuprowler gpuprowler-static)
  configure_file(packaging/${name}.pc.in ${made}/${name}.pc @ONLY)
  install(FILES ${made}/${name}.pc DESTINATION ${pkgconfig_folder} COMPONENT Development)
endforeach()

# --- Documents and completions -----------------------------------------------------------------------------------

# gpuprowler_compressed(TARGET FILE [COMMAND...] DEPENDS...): the command, if any, makes FILE in ${made}, and this
# FILE.gz. No time goes into it: the same input gives the same bytes.
function(gpuprowler_compressed target file)
  add_custom_command(OUTPUT ${made}/${file}.gz ${ARGN}
                     COMMAND gzip -9nkf ${file} WORKING_DIRECTORY ${made} VERBATIM)
  add_custom_target(${target} ALL DEPENDS ${made}/${file}.gz)
endfunction()

# Whoever hands packages out puts an address here that answers.
set(CPACK_PACKAGE_CONTACT "The owner of gpuprowler <owner@gpuprowler.invalid>" CACHE STRING "The packages' maintainer")
string(TIMESTAMP changed "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(packaging/changelog.Debian.in ${made}/changelog.Debian @ONLY)
configure_file(CHANGELOG.md ${made}/changelog COPYONLY)
gpuprowler_compressed(changelog_debian changelog.Debian DEPENDS ${made}/changelog.Debian)
gpuprowler_compressed(changelog changelog DEPENDS ${made}/changelog)

# What every package says of itself.
function(gpuprowler_documents component package)
  install(FILES packaging/copyright ${made}/changelog.gz ${made}/changelog.Debian.gz
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
  set(overrides packaging/lintian-overrides)
  if(EXISTS ${PROJECT_SOURCE_DIR}/${overrides}-${package})
    set(overrides ${overrides}-${package})
  endif()
  install(FILES ${overrides} DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME ${package}
          COMPONENT ${component})
endfunction()
gpuprowler_documents(Programs gpuprowler)
gpuprowler_documents(Library libgpuprowler0)
gpuprowler_documents(Development libgpuprowler-dev)

# Manual pages are made where scdoc is.
find_program(GPUPROWLER_SCDOC scdoc)
function(gpuprowler_manual component)
  if(NOT GPUPROWLER_SCDOC)
    return()
  endif()
  foreach(page IN LISTS ARGN)
    configure_file(man/${page}.scd ${made}/${page}.scd @ONLY)
    gpuprowler_compressed(manual_${page} ${page} COMMAND ${GPUPROWLER_SCDOC} < ${page}.scd > ${page}
                          DEPENDS ${made}/${page}.scd)
    string(REGEX MATCH "[0-9]$" section ${page})
    install(FILES ${made}/${page}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT ${component})
  endforeach()
endfunction()
gpuprowler_manual(Programs gpuprowler.1 prowl.1 gpuprowler-report.5)
if(GPUPROWLER_FAULTKIT)
  gpuprowler_manual(FaultKit gpuprowler-faultkit.1)
endif()

install(FILES completions/prowl.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME prowl
        COMPONENT Programs)
install(FILES completions/_prowl DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT Programs)
install(FILES completions/prowl.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT Programs)

# --- What runs by itself, where somebody enables it --------------------------------------------------------------

configure_file(packaging/gpuprowler-metrics.service.in ${made}/gpuprowler-metrics.service @ONLY)
install(FILES ${made}/gpuprowler-metrics.service packaging/gpuprowler-metrics.timer
        DESTINATION lib/systemd/system COMPONENT Programs)
