# SPDX-License-Identifier: Apache-2.0
# Every test is run by srcwatch-test-keeper, so that no process is left of it, however the test or ctest ends.

# As add_test: srcwatch_register_test(NAME name COMMAND program [argument...] [WORKING_DIRECTORY directory])
function(srcwatch_register_test)
    cmake_parse_arguments(PARSE_ARGV 0 ARG "" "NAME;WORKING_DIRECTORY" "COMMAND")
    list(POP_FRONT ARG_COMMAND program)
    if(TARGET "${program}")
        add_dependencies("${program}" srcwatch-test-keeper)  # so that the test can run when its program is built
        set(program "$<TARGET_FILE:${program}>")
    endif()
    add_test(NAME "${ARG_NAME}" COMMAND srcwatch-test-keeper "${program}" ${ARG_COMMAND}
        WORKING_DIRECTORY "${ARG_WORKING_DIRECTORY}")
    set_property(GLOBAL APPEND PROPERTY SRCWATCH_TESTS "${ARG_NAME}")
endfunction()

# Ends with an error if a directory or one below it has a test that is not run so.
function(srcwatch_require_registered_tests directory)
    get_property(registered GLOBAL PROPERTY SRCWATCH_TESTS)
    get_property(tests DIRECTORY "${directory}" PROPERTY TESTS)
    foreach(test IN LISTS tests)
        if(NOT test IN_LIST registered)
            message(FATAL_ERROR "${directory}: the test '${test}' may leave processes behind; use srcwatch_register_test")
        endif()
    endforeach()
    get_property(directories DIRECTORY "${directory}" PROPERTY SUBDIRECTORIES)
    foreach(below IN LISTS directories)
        srcwatch_require_registered_tests("${below}")
    endforeach()
endfunction()
