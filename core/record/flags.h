// SPDX-License-Identifier: ISC
// The control words of the record: plain 32-bit words, touched through these two only.
//
// A hand-over is data first, flag next, command last; the release makes the data visible to
// whoever acquires the flag.
#pragma once

#include <atomic>
#include <cstdint>

inline std::uint32_t modem_getflag(std::uint32_t &word)
{
    return std::atomic_ref<std::uint32_t>(word).load(std::memory_order_acquire);
}

inline void modem_setflag(std::uint32_t &word, std::uint32_t value)
{
    std::atomic_ref<std::uint32_t>(word).store(value, std::memory_order_release);
}
