#pragma once

#include "cli/StatusCommand.h"

#include <optional>
#include <string>
#include <vector>

namespace ostrelvan::cli {

// What the user asked `ostrelvan` for, read from its arguments.
struct CommandLine {
    enum class Action { run, help, version };

    Action action = Action::run;
    std::string command = "watch"; // the command run, or whose help is asked for ("" for all)
    StatusOutput output = StatusOutput::human;
    bool tmux = false;
    std::string session; // what `open` is given: a session id or a unique start of one
    // One line saying what is wrong with the arguments; the program then exits 2.
    std::optional<std::string> error;

    static CommandLine parse(const std::vector<std::string>& arguments);
    // The help of one command, or of the program when `command` is empty.
    static std::string help(const std::string& command);
};

} // namespace ostrelvan::cli
