#pragma once

#include "base/Environment.h"
#include "base/ProcessTable.h"

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>

namespace ostrelvan::AgentProcess {

using Entry = ProcessEntry;

inline bool isShell(std::string_view name) {
    return name == "sh" || name == "dash" || name == "bash" || name == "zsh";
}

inline std::optional<std::int32_t> parsePid(std::string_view text) {
    std::int32_t pid = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), pid);
    if (error != std::errc() || end != text.data() + text.size() || pid < 1)
        return std::nullopt;
    return pid;
}

// Claude Code starts hooks through `/bin/sh -c`, and that shell may be gone by now. CLAUDE_PID
// names the agent when it is a live process; otherwise the agent is the first process above
// `parent` that is not a shell. `lookup(pid)` gives an optional Entry for a live process.
template <class Lookup>
std::optional<std::int32_t> find(const Environment& environment, std::int32_t parent,
                                 Lookup&& lookup) {
    if (auto named = environment.find("CLAUDE_PID"); named != environment.end())
        if (auto pid = parsePid(named->second); pid && lookup(*pid))
            return pid;
    std::int32_t pid = parent;
    // Bounded: a cycle cannot occur in a real process table, but a lookup could return one.
    for (int depth = 0; depth < 64 && pid > 1; ++depth) {
        std::optional<Entry> entry = lookup(pid);
        if (!entry)
            return std::nullopt;
        if (!isShell(entry->name))
            return pid;
        pid = entry->parent;
    }
    // Reparented to init (the shell's parent exited): the agent is unknown.
    return std::nullopt;
}

} // namespace ostrelvan::AgentProcess
