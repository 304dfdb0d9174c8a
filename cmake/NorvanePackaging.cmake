# Debian packages of the install, made by CPack (scripts/package.sh drives it):
#   libnorvanecore1     the shared library with its soname         (component runtime)
#   libnorvanecore-dev  headers, CMake package, pkg-config file      (component dev)
#   libnorvanerouter1   the router library with its soname           (component router)
#   norvane-capture     the program and the modules it loads         (component capture)
# The architecture is that of the target: a cross build packages for its triplet.
# Library dependencies come from dpkg-shlibdeps; the library's own shlibs file
# lets other packages depend on it the same way.
set(NORVANE_DEB_REVISION 1)
set(NORVANE_DEB_MAINTAINER "NorvaneCore developers <norvane-core@example.org>")

if(CMAKE_LIBRARY_ARCHITECTURE)
  execute_process(COMMAND dpkg-architecture -t${CMAKE_LIBRARY_ARCHITECTURE} -qDEB_HOST_ARCH
    OUTPUT_VARIABLE NORVANE_DEB_ARCH OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()
if(NOT NORVANE_DEB_ARCH)
  execute_process(COMMAND dpkg --print-architecture
    OUTPUT_VARIABLE NORVANE_DEB_ARCH OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()

# Each package carries the copyright file and a Debian changelog in its doc folder.
string(TIMESTAMP NORVANE_DEB_DATE "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(NORVANE_DEB_VERSION ${PROJECT_VERSION}-${NORVANE_DEB_REVISION})
foreach(pair "runtime;libnorvanecore1" "dev;libnorvanecore-dev" "router;libnorvanerouter1"
             "capture;norvane-capture")
  list(GET pair 0 component)
  list(GET pair 1 package)
  set(dir ${PROJECT_BINARY_DIR}/debian/${package})
  set(NORVANE_DEB_PACKAGE ${package})
  configure_file(${PROJECT_SOURCE_DIR}/cmake/debian/changelog.in ${dir}/changelog.Debian @ONLY)
  execute_process(COMMAND gzip -9nf ${dir}/changelog.Debian)
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/debian/copyright ${dir}/changelog.Debian.gz
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME norvane-core)
set(CPACK_PACKAGE_VENDOR "NorvaneCore developers")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev)
if(TARGET norvane-capture)
  list(APPEND CPACK_COMPONENTS_ALL router capture)
endif()
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${NORVANE_DEB_ARCH})
set(CPACK_DEBIAN_PACKAGE_RELEASE ${NORVANE_DEB_REVISION})
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${NORVANE_DEB_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://example.org/norvane-core")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY "=")
# The programs and modules link the library of the same build: dpkg-shlibdeps finds
# it there, and the dependency on its package is named below.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR} ${PROJECT_BINARY_DIR}/router)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libnorvanecore1)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# The dynamic loader's cache is refreshed through dpkg's ldconfig trigger.
# Its symbols file (scripts/check-symbols.sh keeps it true) lets packages that use the
# library depend on the version that brought the symbols they use.
configure_file(${PROJECT_SOURCE_DIR}/cmake/debian/libnorvanecore1.symbols.${NORVANE_DEB_ARCH}
  ${PROJECT_BINARY_DIR}/debian/libnorvanecore1/symbols COPYONLY)
# The cache is refreshed by that trigger alone: these scripts stand in for the ones
# that would call ldconfig.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers
  ${PROJECT_SOURCE_DIR}/cmake/debian/postinst ${PROJECT_SOURCE_DIR}/cmake/debian/postrm
  ${PROJECT_BINARY_DIR}/debian/libnorvanecore1/symbols)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "core library of the Norvane image-capture SDK
libNorvaneCore is the core shared library of a modular image-capture and
recognition SDK: reference-counted objects, image buffers, a thread-safe
image-source buffer with a C interface, pixel-format conversion, geometry,
result containers, a task-graph runtime, a process-wide log and the loading
of modules.

This package contains the shared library.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libnorvanecore-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS
  "libnorvanecore1 (= ${NORVANE_DEB_VERSION}), libjsoncpp-dev")
set(CPACK_COMPONENT_DEV_DESCRIPTION "core library of the Norvane image-capture SDK - development files
libNorvaneCore is the core shared library of a modular image-capture and
recognition SDK.

This package contains the C and C++ headers, the CMake package
(find_package(NorvaneCore), target Norvane::Core) and the pkg-config file
norvane-core.")

set(CPACK_DEBIAN_ROUTER_PACKAGE_NAME libnorvanerouter1)
set(CPACK_DEBIAN_ROUTER_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_ROUTER_PACKAGE_DEPENDS "libnorvanecore1 (= ${NORVANE_DEB_VERSION})")
set(CPACK_DEBIAN_ROUTER_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers
  ${PROJECT_SOURCE_DIR}/cmake/debian/postinst ${PROJECT_SOURCE_DIR}/cmake/debian/postrm)
set(CPACK_COMPONENT_ROUTER_DESCRIPTION "router library of the Norvane image-capture SDK
libNorvaneRouter loads a recognition module of the Norvane SDK by name and runs
its tasks on the task-graph runtime of libNorvaneCore over images, one at a
time or as a stream, with a C++ and a C interface.

This package contains the shared library.")

set(CPACK_DEBIAN_CAPTURE_PACKAGE_NAME norvane-capture)
set(CPACK_DEBIAN_CAPTURE_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_CAPTURE_PACKAGE_DEPENDS
  "libnorvanecore1 (= ${NORVANE_DEB_VERSION}), libnorvanerouter1 (= ${NORVANE_DEB_VERSION})")
set(CPACK_COMPONENT_CAPTURE_DESCRIPTION "image capture and recognition program of the Norvane SDK
norvane-capture reads the codes in image files, folders and lists of files (or
in synthetic frames) with a recognition module that runs on the task-graph
runtime of libNorvaneCore, and prints what it read, file by file.

This package contains the program and its modules, in
/usr/lib/<triplet>/norvane/modules: the barcode reader (where it was built)
and the label detector.")

include(CPack)
