// SPDX-License-Identifier: Apache-2.0
//
// Runs the tests of the kit on a TV of their own, or ends there in a way that a test watches.
#include "srcwatch-testkit/TestPlatform.h"

#include <csignal>
#include <cstdlib>
#include <iostream>
#include <string>

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    const srcwatch_test::TestPlatform platform(argv, {3, {"com.korvane/featureconf/cx_core_ir_tavrin"}});
    const std::string way = argc == 3 ? argv[1] : "";
    if (!way.empty()) std::cout << srcwatch_test::TestPlatform::Path("") << std::flush;
    if (way == "exit") return std::atoi(argv[2]);
    if (way == "raise") return raise(std::atoi(argv[2]));
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
