# What CPack makes: a .deb of each component, or of programs and library a .zip and an installer for Windows.
set(CPACK_PACKAGE_NAME gpuprowler)
set(CPACK_PACKAGE_VENDOR gpuprowler)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR})
set(CPACK_OUTPUT_FILE_PREFIX ${PROJECT_SOURCE_DIR}/build/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

if(GPUPROWLER_PLATFORM STREQUAL win)
  set(CPACK_GENERATOR ZIP NSIS)
  set(CPACK_INSTALL_CMAKE_PROJECTS ${PROJECT_BINARY_DIR} gpuprowler Programs /
      ${PROJECT_BINARY_DIR} gpuprowler Library /)
  set(CPACK_PACKAGE_INSTALL_DIRECTORY gpuprowler)
  set(CPACK_NSIS_IGNORE_LICENSE_PAGE ON)  # there is none to agree to
  set(CPACK_NSIS_DEFINES "Target amd64-unicode")  # as the programs are, so that it needs no 32-bit Windows
  set(CPACK_NSIS_MODIFY_PATH ON)
  set(CPACK_NSIS_EXTRA_UNINSTALL_COMMANDS [[DeleteRegKey SHCTX "Software\gpuprowler"]])
  set(CPACK_NSIS_ENABLE_UNINSTALL_BEFORE_INSTALL ON)
  include(CPack)
  return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(rights "All rights reserved: the owner has not named a licence for this project yet.")

# The loaders are opened at run time; without them, or without the names of adapters, there is less to tell.
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_NAME gpuprowler)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_RECOMMENDS "libegl1, ocl-icd-libopencl1 | libopencl1, pci.ids, libdrm-common, libdw1")
set(CPACK_DEBIAN_PROGRAMS_DESCRIPTION "prober that asks graphics drivers in a process of its own
gpuprowler asks OpenGL and OpenCL one question at a time, and writes each
answer before it asks the next: if a driver takes it down, everything found
so far is kept. prowl runs it for people, bounds the time, and tells what was
found and how it ended.

${rights}")

# The interface is kept as long as the name's number is, and what uses it needs no earlier one.
file(WRITE ${made}/shlibs "libgpuprowler 0 libgpuprowler0 (>= ${PROJECT_VERSION})\n")
file(WRITE ${made}/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME libgpuprowler0)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${made}/shlibs ${made}/triggers)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_RECOMMENDS "gpuprowler, libdw1")
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "library that tells whether an application may use the GPUs
It has gpuprowler ask the graphics drivers in a process of its own, and says
which GPUs there are, what they can do, and why something isn't there. A
driver that crashes or hangs costs the application and other drivers' GPUs
nothing, is named, and isn't loaded again for a while.

${rights}")

set(boost_release ${Boost_VERSION_MAJOR}.${Boost_VERSION_MINOR})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libgpuprowler-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libboost-chrono${boost_release}-dev, \
libboost-filesystem${boost_release}-dev, libboost-thread${boost_release}-dev, \
libgpuprowler0 (= ${PROJECT_VERSION}-1), libre2-dev, opencl-c-headers")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_RECOMMENDS "gpuprowler (= ${PROJECT_VERSION}-1)")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "library that tells whether an application may use the GPUs, to build with
Headers in C and C++, static libraries, and what CMake and pkg-config read;
also what starts gpuprowler, reads its report as it comes, bounds its time
and kills it.

${rights}")

set(CPACK_DEBIAN_FAULTKIT_PACKAGE_NAME gpuprowler-faultkit)
set(CPACK_DEBIAN_FAULTKIT_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_FAULTKIT_PACKAGE_RECOMMENDS "libegl1, libegl-mesa0, ocl-icd-libopencl1, pocl-opencl-icd")
set(CPACK_DEBIAN_FAULTKIT_DESCRIPTION "graphics drivers that crash, hang and lie on order
OpenGL and OpenCL drivers that pass calls on to the machine's own, and fail
those that they are told to: an application can be tested against a driver
that crashes.

${rights}")

# The fault kit joins where it is built.
get_cmake_property(components COMPONENTS)
if(FaultKit IN_LIST components)
  gpuprowler_documents(FaultKit gpuprowler-faultkit)
endif()
include(CPack)
