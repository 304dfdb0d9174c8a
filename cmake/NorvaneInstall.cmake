# cmake --install: the library, its headers, a CMake package (Norvane::Core) and a
# pkg-config file (norvane-core). Component runtime is the versioned library, dev
# everything a build against it needs (the Debian packages follow this split).
include(CMakePackageConfigHelpers)

set(NORVANE_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/NorvaneCore)

install(TARGETS NorvaneCore EXPORT NorvaneCoreTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/norvane
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev
  FILES_MATCHING PATTERN "*.h")
install(EXPORT NorvaneCoreTargets
  NAMESPACE Norvane::
  DESTINATION ${NORVANE_CMAKE_DIR} COMPONENT dev)

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/NorvaneCoreConfig.cmake.in
  ${PROJECT_BINARY_DIR}/NorvaneCoreConfig.cmake
  INSTALL_DESTINATION ${NORVANE_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/NorvaneCoreConfigVersion.cmake
  VERSION ${PROJECT_VERSION}
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/NorvaneCoreConfig.cmake
  ${PROJECT_BINARY_DIR}/NorvaneCoreConfigVersion.cmake
  DESTINATION ${NORVANE_CMAKE_DIR} COMPONENT dev)

# The pkg-config file finds its prefix relative to itself, so an install tree can be
# moved (or installed with --prefix) and still be found through PKG_CONFIG_PATH.
file(RELATIVE_PATH NORVANE_PC_TO_PREFIX "/p/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/p")
configure_file(${PROJECT_SOURCE_DIR}/cmake/norvane-core.pc.in
  ${PROJECT_BINARY_DIR}/norvane-core.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/norvane-core.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

# The guides, with the examples they quote, beside the headers' package.
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/ARCHITECTURE.md
              ${PROJECT_SOURCE_DIR}/docs/c-interface.md ${PROJECT_SOURCE_DIR}/docs/writing-a-module.md
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libnorvanecore-dev COMPONENT dev)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs/examples/
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libnorvanecore-dev/examples COMPONENT dev)
