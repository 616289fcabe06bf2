// SPDX-License-Identifier: ISC
// Thread attributes and priorities.
#include "core/life/thread.h"

#include <sched.h>

#include "core/record/trace.h"

namespace
{

constexpr std::uint32_t stackdefault = 65536;
constexpr std::uint32_t stackleast = 131072;

bool common_isgiven(const char *routine, const char *namecaller, const common_attr *pattr)
{
    const char *missing = namecaller == nullptr ? "namecaller"
                          : pattr == nullptr    ? "pattr"
                                                : nullptr;
    if (missing == nullptr) return true;
    modem_trace("%s: %s: %s is NULL\n", namecaller != nullptr ? namecaller : "(null)", routine,
                missing);
    return false;
}

}  // namespace

int common_setattr(const char *namecaller, common_attr *pattr)
{
    if (!common_isgiven("common_setattr", namecaller, pattr)) return -1;
    (void)pthread_attr_init(&pattr->attr);
    std::uint32_t stacksize = pattr->stacksize != 0 ? pattr->stacksize : stackdefault;
    if (stacksize < stackleast) stacksize = stackleast;
    modem_trace("%s: common_setattr: stacksize=%u bytes is set\n", namecaller, stacksize);
    (void)pthread_attr_setstacksize(&pattr->attr, stacksize);
    return 0;
}

int common_clearattr(const char *namecaller, common_attr *pattr)
{
    if (!common_isgiven("common_clearattr", namecaller, pattr)) return -1;
    const int error = pthread_attr_destroy(&pattr->attr);
    if (error == 0) return 0;
    modem_trace("%s: common_clearattr: pthread_attr_destroy done error=%d\n", namecaller, error);
    return -1;
}

int common_setpriority(pthread_t thread, std::uint8_t priority)
{
    sched_param param = {};
    param.sched_priority = priority;
    (void)pthread_setschedparam(thread, priority != 0 ? SCHED_FIFO : SCHED_OTHER, &param);
    return 0;
}
