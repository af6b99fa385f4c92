#pragma once

#include <chrono>
#include <cstdint>

#include "platform/realtime.hpp"

/// Sleeping on a word of shared memory and waking whoever sleeps there. A platform provides all
/// of it; both calls reach the kernel at once and are the only ones of the driving thread that
/// may sleep.
namespace vesk::client {

/// Sleeps while `word` holds `value`, at most `limit` (not negative); may return early.
/// Real-time by contract: sleeping here is what the caller asks for, and it ends with `limit`.
void wait_while(const std::uint32_t& word, std::uint32_t value,
                std::chrono::nanoseconds limit) noexcept VESK_REALTIME;

/// Wakes one sleeper on `word`, in whatever process. Never sleeps.
void wake_one(const std::uint32_t& word) noexcept VESK_REALTIME;

/// The monotonic clock in nanoseconds. Real-time safe: read without entering the kernel.
std::int64_t now_ns() noexcept VESK_REALTIME;

}  // namespace vesk::client
