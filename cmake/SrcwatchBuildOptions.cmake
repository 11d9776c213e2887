# SPDX-License-Identifier: Apache-2.0
# The flags that every target of the project is built with: link srcwatch-build-options privately.
add_library(srcwatch-build-options INTERFACE)

target_compile_features(srcwatch-build-options INTERFACE cxx_std_17 c_std_11)
# The owners of C libraries' handles, which every room uses.
target_include_directories(srcwatch-build-options INTERFACE "${CMAKE_SOURCE_DIR}/handle")

target_compile_options(srcwatch-build-options INTERFACE
    -Werror -Wall -Wextra -Wconversion -Wsign-conversion -Wshadow -Wformat=2 -Wundef -Wcast-align -Wcast-qual
    -Wmissing-declarations -Wvla
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast -Wextra-semi>
    $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wlogical-op -Wduplicated-cond -Wduplicated-branches>
    -pthread -fvisibility=hidden $<$<COMPILE_LANGUAGE:CXX>:-fvisibility-inlines-hidden>
    -fstack-protector-strong -fstack-clash-protection
    -ffile-prefix-map=${CMAKE_SOURCE_DIR}/=)

# CET; the other architectures have no such flag.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|amd64|i.86)$")
    target_compile_options(srcwatch-build-options INTERFACE -fcf-protection)
endif()

# Files and directories whose numbers do not fit 32 bits: without, reading such a directory fails.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    target_compile_definitions(srcwatch-build-options INTERFACE _FILE_OFFSET_BITS=64)
endif()

# Without, gcc notes at each use of some templates that it passes them otherwise than gcc 6 did.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
    target_compile_options(srcwatch-build-options INTERFACE -Wno-psabi)
endif()

# No build that is used is without optimisation, so that the checked libc functions are always in.
# The address and thread sanitizers bring their own checks, which these would hide.
if(SRCWATCH_COVERAGE)
    # What the compiler inlines or joins would be counted as branches of the line, and as a line less.
    target_compile_options(srcwatch-build-options INTERFACE --coverage -O0)
    target_link_options(srcwatch-build-options INTERFACE --coverage)
elseif(SRCWATCH_SANITIZE)
    target_compile_options(srcwatch-build-options INTERFACE
        -fsanitize=${SRCWATCH_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    target_link_options(srcwatch-build-options INTERFACE -fsanitize=${SRCWATCH_SANITIZE})
else()
    target_compile_options(srcwatch-build-options INTERFACE -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
endif()

# What libFuzzer steers by.
if(SRCWATCH_FUZZ)
    target_compile_options(srcwatch-build-options INTERFACE -fsanitize=fuzzer-no-link)
endif()

target_link_options(srcwatch-build-options INTERFACE
    -Wl,--as-needed -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack
    $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-pie>)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
