// SPDX-License-Identifier: ISC
// The tests run inside the sandbox. Where that cannot be made, the program fails and says why.
#include <gtest/gtest.h>

#include "simulator/sandbox.h"

int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (!GTEST_FLAG_GET(list_tests)) sandbox_enter();
    return RUN_ALL_TESTS();
}
