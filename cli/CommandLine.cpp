#include "cli/CommandLine.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace ostrelvan::cli {

namespace {

constexpr std::string_view programHelp = R"(usage: ostrelvan [command] [options]

Shows what every Claude Code session on this machine is doing.

commands:
  watch        a live view of every session, redrawn as they change (the default)
  status       every session once; --json for scripts, --line for a status bar
  open <id>    go to a session: its terminal window and tmux pane, its VS Code window,
               or its folder; a unique start of the id is enough
  connect      install the hook helper and its entries in Claude Code's settings
  disconnect   remove those entries (the helper file stays)

options:
  -h, --help   show this help; `ostrelvan <command> --help` shows a command's own
  --version    show the version

environment:
  OSTRELVAN_DATA_DIR   where session files live (default ~/.local/share/Ostrelvan)
  CLAUDE_CONFIG_DIR    Claude Code's configuration folder (default ~/.claude)
  NO_COLOR             no colours
)";

constexpr std::string_view watchHelp = R"(usage: ostrelvan [watch]

A live view of every session, redrawn as they change. Each row shows the session's lamp,
name, project, status and how long it has had that status:
  ● working  ▲ needs approval  ◆ awaiting review  ○ idle

keys:
  ↑ ↓  or  k j      select a session
  PgUp PgDn         a page up or down
  Home End          the first or the last session
  Enter             go to the selected session and mark it seen
  ?                 show the keys
  q  or  Ctrl-C     leave

Without a terminal each new state is appended to standard output.
)";

constexpr std::string_view statusHelp = R"(usage: ostrelvan status [--json | --line [--tmux]]

Every session once: lamp, name, project, status and age, fitted to the terminal.

options:
  --json    one JSON object for scripts; its keys are listed in the README
  --line    one short line for a status bar or prompt, a count per status:
              ● working  ▲ needs approval  ◆ awaiting review  ○ idle
  --tmux    with --line: colours as tmux style codes (#[fg=…]) for tmux's status bar
)";

constexpr std::string_view openHelp = R"(usage: ostrelvan open <session id>

Goes to a session, as a click on its row in the widget does: its VS Code window, its
terminal window and tmux pane, or else its folder in the file manager. The session is
marked seen. A unique start of the id is enough; `ostrelvan status --json` lists the ids.
)";

constexpr std::string_view connectHelp = R"(usage: ostrelvan connect

Installs the hook helper ostrelvan-hook in the data folder and adds one entry per hook event
to Claude Code's settings.json (after backing it up as settings.json.ostrelvan-backup).
A settings file that is not valid JSON is never written.
)";

constexpr std::string_view disconnectHelp = R"(usage: ostrelvan disconnect

Removes Ostrelvan's hook entries from Claude Code's settings.json; your own hooks and the
helper file stay.
)";

constexpr std::array commands{"watch", "status", "open", "connect", "disconnect"};

bool isHelp(std::string_view argument) {
    return argument == "-h" || argument == "--help";
}

CommandLine failed(std::string message, std::string command = "") {
    CommandLine line;
    line.command = std::move(command);
    line.error = std::move(message);
    return line;
}

} // namespace

CommandLine CommandLine::parse(const std::vector<std::string>& arguments) {
    CommandLine line;
    if (arguments.empty()) {
        return line;
    }
    const std::string& first = arguments.front();
    if (isHelp(first) || first == "help") {
        line.action = Action::help;
        line.command = first == "help" && arguments.size() > 1 ? arguments[1] : "";
        if (!line.command.empty() &&
            std::find(commands.begin(), commands.end(), line.command) == commands.end()) {
            return failed("no help for '" + line.command + "': not a command");
        }
        return line;
    }
    if (first == "--version" || first == "version") {
        line.action = Action::version;
        return line;
    }
    if (first.starts_with("-")) {
        return failed("unknown option '" + first + "'");
    }
    if (std::find(commands.begin(), commands.end(), first) == commands.end()) {
        return failed("unknown command '" + first + "'");
    }
    line.command = first;
    const std::vector<std::string> options(arguments.begin() + 1, arguments.end());
    if (std::any_of(options.begin(), options.end(), isHelp)) {
        line.action = Action::help;
        return line;
    }
    bool json = false;
    bool single = false;
    for (const auto& option : options) {
        const bool known = line.command == "status" &&
                           (option == "--json" || option == "--line" || option == "--tmux");
        if (known) {
            json = json || option == "--json";
            single = single || option == "--line";
            line.tmux = line.tmux || option == "--tmux";
        } else if (option.starts_with("-")) {
            return failed("unknown option '" + option + "' for " + line.command, line.command);
        } else if (line.command == "open" && line.session.empty()) {
            line.session = option;
        } else if (line.command == "open") {
            return failed("open takes one session id, but was also given '" + option + "'",
                          line.command);
        } else {
            return failed(line.command + " takes no arguments, but was given '" + option + "'",
                          line.command);
        }
    }
    if (line.command == "open" && line.session.empty()) {
        return failed("open needs a session id", line.command);
    }
    if (json && single) {
        return failed("--json and --line cannot be combined", line.command);
    }
    if (line.tmux && !single) {
        return failed("--tmux goes with --line", line.command);
    }
    line.output = json ? StatusOutput::json : single ? StatusOutput::line : StatusOutput::human;
    return line;
}

std::string CommandLine::help(const std::string& command) {
    if (command == "watch") {
        return std::string(watchHelp);
    }
    if (command == "status") {
        return std::string(statusHelp);
    }
    if (command == "open") {
        return std::string(openHelp);
    }
    if (command == "connect") {
        return std::string(connectHelp);
    }
    if (command == "disconnect") {
        return std::string(disconnectHelp);
    }
    return std::string(programHelp);
}

} // namespace ostrelvan::cli
