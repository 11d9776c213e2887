# SPDX-License-Identifier: Apache-2.0
# What most units include, compiled once. A source still includes what it needs: clang compiles all of them without this,
# and so does static analysis.

# srcwatch_add_precompiled(NAME [LIBRARIES target...] [HEADERS header...])
function(srcwatch_add_precompiled name)
    cmake_parse_arguments(ARG "" "" "LIBRARIES;HEADERS" ${ARGN})
    file(CONFIGURE OUTPUT "${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp" CONTENT "// Only has the headers precompiled.\n")
    add_library(${name} OBJECT EXCLUDE_FROM_ALL "${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp")
    set_target_properties(${name} PROPERTIES EXPORT_COMPILE_COMMANDS OFF)
    target_link_libraries(${name} PRIVATE srcwatch-build-options PkgConfig::JSONCPP PkgConfig::GIO ${ARG_LIBRARIES})
    target_precompile_headers(${name} PRIVATE
        <algorithm> <atomic> <cerrno> <chrono> <csignal> <cstdio> <cstdlib> <cstring> <filesystem> <fstream> <functional>
        <iterator> <map> <memory> <mutex> <optional> <set> <sstream> <stdexcept> <string> <thread> <utility> <vector>
        <fcntl.h> <sys/stat.h> <unistd.h> <json/json.h> <gio/gio.h> ${ARG_HEADERS})
endfunction()

# For the product's libraries; programs are compiled with other flags (-fPIE).
srcwatch_add_precompiled(srcwatch-precompiled)
function(srcwatch_precompile)
    foreach(target IN LISTS ARGN)
        target_precompile_headers(${target} REUSE_FROM srcwatch-precompiled)
    endforeach()
endfunction()
