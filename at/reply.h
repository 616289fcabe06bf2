// SPDX-License-Identifier: ISC
// What an accumulated reply of the modem amounts to.
#pragma once

#include <string_view>

enum class modem_verdict {
    expected,    // the awaited text is there
    error,       // a complete error reply is there
    unfinished,  // an error code whose line has not ended yet
    nothing,     // none of these so far
};

// The awaited text wins over every error reply. Searches ignore case.
modem_verdict modem_classify(std::string_view reply, std::string_view answer);
