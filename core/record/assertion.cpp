// SPDX-License-Identifier: ISC
// What the C++ headers call where a check of theirs fails (an index beyond the end, for example),
// in builds that have these checks on. It is otherwise part of the C++ runtime, which is not there.
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

// NOLINTNEXTLINE(cert-dcl58-cpp): place and name are the headers'
namespace std
{

// NOLINTNEXTLINE(bugprone-reserved-identifier): likewise
__attribute__((noreturn)) void __glibcxx_assert_fail(const char *file,
                                                     int line,
                                                     const char *function,
                                                     const char *condition) noexcept
{
    dprintf(STDERR_FILENO, "%s:%d: %s: %s does not hold\n", file, line, function, condition);
    abort();
}

}  // namespace std
