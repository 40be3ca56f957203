# Install rules: the library, its public headers, a CMake package
# (find_package(TavrinUtils) -> tavrin::utils) and a pkg-config file.
include(CMakePackageConfigHelpers)

install(TARGETS tavrin_utils EXPORT TavrinUtilsTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES ${TAVRIN_PUBLIC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/common/utils)

set(TAVRIN_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/TavrinUtils)
install(EXPORT TavrinUtilsTargets NAMESPACE tavrin:: DESTINATION ${TAVRIN_CMAKE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/TavrinUtilsConfig.cmake.in
  ${PROJECT_BINARY_DIR}/TavrinUtilsConfig.cmake INSTALL_DESTINATION ${TAVRIN_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/TavrinUtilsConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/TavrinUtilsConfig.cmake
              ${PROJECT_BINARY_DIR}/TavrinUtilsConfigVersion.cmake
        DESTINATION ${TAVRIN_CMAKE_DIR})

# The .pc file finds its prefix relative to itself, so an installed tree can
# be moved (or installed with --prefix) and still work.
file(RELATIVE_PATH TAVRIN_PC_RELATIVE_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" TAVRIN_PC_RELATIVE_PREFIX "${TAVRIN_PC_RELATIVE_PREFIX}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/tavrin-utils.pc.in ${PROJECT_BINARY_DIR}/tavrin-utils.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tavrin-utils.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(TAVRIN_BUILD_TOOLS)
  install(TARGETS tavrin RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
