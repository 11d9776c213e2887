# SPDX-License-Identifier: Apache-2.0
# Testers are tested: a program is linked with the code under test as it is, and a twin of it with a copy that has a fault.

# What the kinds of code under test are made of; a header is compiled into the program itself.
set(srcwatch_tested_library srcwatch-api-objects)
set(srcwatch_tested_header "")
set(srcwatch_tested_detection srcwatch-detection)
set(srcwatch_tested_host srcwatch-host-objects)
set(srcwatch_tested_panel srcwatch-panel-rooms)

function(srcwatch_link_tested name kind)
    target_link_libraries(${name} PRIVATE ${srcwatch_tested_${kind}})
endfunction()

# Writes the copy of a source file in which FROM, which must be there exactly once, is TO.
function(srcwatch_plant copy source from to)
    add_custom_command(OUTPUT "${copy}"
        COMMAND ${CMAKE_COMMAND} "-DSOURCE=${source}" "-DCOPY=${copy}" "-DFROM=${from}" "-DTO=${to}"
            -P "${PROJECT_SOURCE_DIR}/cmake/plant.cmake"
        DEPENDS "${source}" "${PROJECT_SOURCE_DIR}/cmake/plant.cmake"
        VERBATIM)
endfunction()

# srcwatch_link_objects_without(NAME OBJECTS FILE...): links an object library's objects but those of the named sources.
function(srcwatch_link_objects_without name objects)
    list(JOIN ARGN "|" left_out)
    target_sources(${name} PRIVATE "$<FILTER:$<TARGET_OBJECTS:${objects}>,EXCLUDE,/(${left_out})[.]o$>")
    target_include_directories(${name} PRIVATE
        "${PROJECT_SOURCE_DIR}/src" $<TARGET_PROPERTY:${objects},INTERFACE_INCLUDE_DIRECTORIES>)
    target_link_libraries(${name} PRIVATE PkgConfig::JSONCPP PkgConfig::GIO ${CMAKE_DL_LIBS})
endfunction()

# Compiles a copy of FILE in which FROM is TO.
function(srcwatch_add_fault name file from to)
    cmake_path(GET file FILENAME base)
    set(copy "${CMAKE_CURRENT_BINARY_DIR}/${name}.d/${base}")
    srcwatch_plant("${copy}" "${PROJECT_SOURCE_DIR}/${file}" "${from}" "${to}")
    target_sources(${name} PRIVATE "${copy}")
endfunction()

# srcwatch_link_tested_with_fault(NAME KIND FILE FROM TO)
function(srcwatch_link_tested_with_fault name kind file from to)
    set(tested ${srcwatch_tested_${kind}})
    cmake_path(GET file FILENAME base)
    srcwatch_add_fault(${name} "${file}" "${from}" "${to}")
    if(kind STREQUAL "header")
        target_include_directories(${name} BEFORE PRIVATE "${CMAKE_CURRENT_BINARY_DIR}/${name}.d")
    elseif(kind STREQUAL "library" OR kind STREQUAL "host")
        srcwatch_link_objects_without(${name} ${tested} ${base})
        if(kind STREQUAL "host")
            target_link_libraries(${name} PRIVATE srcwatch-users)
        endif()
    else()  # the archive's member is not needed any more
        target_link_libraries(${name} PRIVATE ${tested})
    endif()
endfunction()
