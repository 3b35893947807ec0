# Install rules: the two libraries with versioned SONAMEs, the public headers, a CMake package
# (find_package(BrontavaleCore)) and a pkg-config file (brontavale-core).
include(CMakePackageConfigHelpers)

if(NOT TARGET bvcore)
    return()
endif()
install(TARGETS bvplatform bvcore
    EXPORT BrontavaleCoreTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# Public headers only: the platform's testing hooks and the library's private headers stay out.
install(DIRECTORY Core/Platform/include/bvplatform
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
    FILES_MATCHING PATTERN "*.h" PATTERN "testing.h" EXCLUDE)
file(GLOB BV_PUBLIC_HEADERS "${CMAKE_SOURCE_DIR}/Core/Common/*.h")
list(FILTER BV_PUBLIC_HEADERS EXCLUDE REGEX "/(Win32Exc|[A-Za-z]*Private)\\.h$")
install(FILES ${BV_PUBLIC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/Core/Common)

set(BV_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/BrontavaleCore)
install(EXPORT BrontavaleCoreTargets NAMESPACE BrontavaleCore:: DESTINATION ${BV_CMAKE_DIR})
configure_package_config_file(cmake/BrontavaleCoreConfig.cmake.in
    ${CMAKE_BINARY_DIR}/BrontavaleCoreConfig.cmake INSTALL_DESTINATION ${BV_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_BINARY_DIR}/BrontavaleCoreConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/BrontavaleCoreConfig.cmake
    ${CMAKE_BINARY_DIR}/BrontavaleCoreConfigVersion.cmake DESTINATION ${BV_CMAKE_DIR})

# The .pc file finds its prefix from its own place, so an install under --prefix stays usable.
file(RELATIVE_PATH BV_PC_TO_PREFIX "/root/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/root")
configure_file(cmake/brontavale-core.pc.in ${CMAKE_BINARY_DIR}/brontavale-core.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/brontavale-core.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
