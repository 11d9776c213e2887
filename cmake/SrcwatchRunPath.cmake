# SPDX-License-Identifier: Apache-2.0
# Where what is installed finds the libraries: relative to itself, so that an installed tree may be moved; but not in /usr,
# where every program looks for libraries.

# For targets that link the library and are installed in a directory: srcwatch_set_run_path(DIRECTORY TARGET...)
function(srcwatch_set_run_path directory)
    if(CMAKE_INSTALL_PREFIX MATCHES "^/(usr)?$")
        return()
    endif()
    cmake_path(ABSOLUTE_PATH directory BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}" NORMALIZE)
    cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_LIBDIR BASE_DIRECTORY "${directory}" OUTPUT_VARIABLE libraries)
    set_target_properties(${ARGN} PROPERTIES INSTALL_RPATH "$ORIGIN/${libraries}")
endfunction()
