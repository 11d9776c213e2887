# SPDX-License-Identifier: Apache-2.0
# What developers get: the libraries, the headers, and how pkg-config and CMake find them. The programs, the man pages
# and the data install themselves where they are built.
include(CMakePackageConfigHelpers)

set(headers "${CMAKE_INSTALL_INCLUDEDIR}/srcwatch")
set(packageDir "${CMAKE_INSTALL_LIBDIR}/cmake/srcwatch-api")
set(pkgconfigDir "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

set(libraries srcwatch-api)
install(DIRECTORY include/ "${PROJECT_BINARY_DIR}/src/include/"
    DESTINATION ${headers} COMPONENT development FILES_MATCHING PATTERN "*.h" PATTERN "*.hpp")
if(SRCWATCH_PLATFORM STREQUAL "host")
    list(APPEND libraries srcwatch-host-platform)
    srcwatch_set_run_path("${CMAKE_INSTALL_LIBDIR}" srcwatch-api)
    install(DIRECTORY platform/include/ DESTINATION ${headers}/platform
        COMPONENT development FILES_MATCHING PATTERN "*.h")
endif()
install(FILES platform/host/srcwatch-host.h DESTINATION ${headers} COMPONENT development)  # for every platform

install(TARGETS ${libraries} EXPORT srcwatch-api
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
install(EXPORT srcwatch-api NAMESPACE srcwatch:: FILE srcwatch-api-targets.cmake
    DESTINATION ${packageDir} COMPONENT development)

configure_package_config_file(cmake/srcwatch-api-config.cmake.in srcwatch-api-config.cmake
    INSTALL_DESTINATION ${packageDir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(srcwatch-api-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES
    "${CMAKE_CURRENT_BINARY_DIR}/srcwatch-api-config.cmake"
    "${CMAKE_CURRENT_BINARY_DIR}/srcwatch-api-config-version.cmake"
    DESTINATION ${packageDir} COMPONENT development)

# The .pc file finds its prefix from where it lies, so an installed tree may be moved.
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX
    BASE_DIRECTORY "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" OUTPUT_VARIABLE PC_PREFIX)
set(PC_INCLUDES ${SRCWATCH_INSTALL_INCLUDE_DIRS})
list(TRANSFORM PC_INCLUDES REPLACE "^([^/].*)$" "\${prefix}/\\1")
list(TRANSFORM PC_INCLUDES PREPEND "-I")
list(JOIN PC_INCLUDES " " PC_INCLUDES)

# A CMake target is named by its file's name, which is the library's; paths and flags stay as they are.
set(PC_PLATFORM_LIBRARIES ${SRCWATCH_PLATFORM_LIBRARIES})
list(TRANSFORM PC_PLATFORM_LIBRARIES REPLACE "^([^-/].*)$" "-l\\1")
list(JOIN PC_PLATFORM_LIBRARIES " " PC_PLATFORM_LIBRARIES)

configure_file(cmake/srcwatch-api.pc.in srcwatch-api.pc @ONLY)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/srcwatch-api.pc" DESTINATION ${pkgconfigDir} COMPONENT development)

# After all that is installed.
set(SRCWATCH_HAS_SERVICE OFF)
if(TARGET srcwatch-service)
    set(SRCWATCH_HAS_SERVICE ON)
endif()
configure_file(cmake/SrcwatchInstallAdvice.cmake.in SrcwatchInstallAdvice.cmake @ONLY)
install(SCRIPT "${PROJECT_BINARY_DIR}/SrcwatchInstallAdvice.cmake")
