# SPDX-License-Identifier: Apache-2.0
# Copies a source file with one fault in it: cmake -DSOURCE= -DCOPY= -DFROM= -DTO= -P plant.cmake
# FROM must be in the source exactly once.
file(READ "${SOURCE}" text)
string(FIND "${text}" "${FROM}" first)
string(FIND "${text}" "${FROM}" last REVERSE)
if(first EQUAL -1 OR NOT first EQUAL last)
    message(FATAL_ERROR "${SOURCE} does not have '${FROM}' exactly once")
endif()
string(REPLACE "${FROM}" "${TO}" text "${text}")
file(WRITE "${COPY}" "${text}")
