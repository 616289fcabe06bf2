// SPDX-License-Identifier: ISC
// A check of the C++ headers that fails ends the program by our own function, not the runtime's.
#include <string_view>

#include <gtest/gtest.h>

TEST(assertion, indexBeyondTheEndAbortsAndTellsWhere)
{
    constexpr std::string_view text = "OK";
    volatile std::size_t index = 2;
#ifdef _GLIBCXX_ASSERTIONS
    EXPECT_DEATH((void)text[index], "string_view:[0-9]+: .*does not hold");
#else
    GTEST_SKIP() << "built without checks: " << text.substr(index);
#endif
}
