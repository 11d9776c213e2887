// SPDX-License-Identifier: Apache-2.0
//
// Runs the tests of a program in a private home, with a TV that has four HDMI inputs.
#include "ServiceTest.h"

int main(int argc, char** argv) { return srcwatch_test::RunInHome(argc, argv, 4); }
