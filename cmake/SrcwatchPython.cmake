# SPDX-License-Identifier: Apache-2.0
# Whether the Python package is built: where the system's Python has cffi and its headers, and the programs of this build
# can be loaded by it. Sets SRCWATCH_PYTHON, SRCWATCH_PYTHON_PROGRAM and SRCWATCH_PYTHON_INCLUDE_DIRS.
find_program(SRCWATCH_PYTHON_PROGRAM python3 PATHS /usr/bin NO_DEFAULT_PATH DOC "Python to build the package for")

set(SRCWATCH_PYTHON_INCLUDE_DIRS "")
if(SRCWATCH_PYTHON_PROGRAM)
    execute_process(
        COMMAND "${SRCWATCH_PYTHON_PROGRAM}" -c
            "import cffi, os, sysconfig; path = sysconfig.get_path('include'); os.stat(path + '/Python.h'); print(path)"
        OUTPUT_VARIABLE SRCWATCH_PYTHON_INCLUDE_DIRS OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
endif()

set(pythonDefault OFF)
if(SRCWATCH_PYTHON_INCLUDE_DIRS AND SRCWATCH_PLATFORM STREQUAL "host"
        AND NOT SRCWATCH_SANITIZE AND NOT SRCWATCH_COVERAGE AND NOT CMAKE_CROSSCOMPILING)
    set(pythonDefault ON)
endif()
option(SRCWATCH_PYTHON "Build the Python package; needs python3-cffi and python3-dev" ${pythonDefault})
if(SRCWATCH_PYTHON AND NOT SRCWATCH_PYTHON_INCLUDE_DIRS)
    message(FATAL_ERROR "SRCWATCH_PYTHON: the system's Python has no cffi or no headers: python3-cffi, python3-dev")
endif()
