#pragma once

#include <chrono>

namespace ostrelvan {

// Session files store times with millisecond precision, so every time the system handles is kept
// at that precision: a state read back from its file then equals the state that was written.
using TimePoint = std::chrono::sys_time<std::chrono::milliseconds>;

// Whole and fractional seconds, the unit the rules are written in.
using Seconds = std::chrono::duration<double>;

inline TimePoint wallClockNow() {
    return std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
}

inline double secondsBetween(TimePoint from, TimePoint to) {
    return std::chrono::duration_cast<Seconds>(to - from).count();
}

inline TimePoint addSeconds(TimePoint t, double seconds) {
    return t + std::chrono::round<std::chrono::milliseconds>(Seconds(seconds));
}

} // namespace ostrelvan
