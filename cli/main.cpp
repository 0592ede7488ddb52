#include "AppSettings.h"
#include "CommandContext.h"
#include "ConnectCommand.h"
#include "Environment.h"
#include "OpenCommand.h"
#include "SettingsKeyValueStore.h"
#include "StatusCommand.h"
#include "WatchCommand.h"

#include <QCoreApplication>
#include <QDir>
#include <QLoggingCategory>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

using namespace ostrelvan;

namespace {

constexpr int usageError = 2;

constexpr std::string_view usage = R"(usage: ostrelvan [command] [options]

Shows what every Claude Code session on this machine is doing.

commands:
  watch            a live view of every session, redrawn as they change (the default);
                   q or Ctrl-C leaves
  status           every session once: lamp, name, project, status and age
  status --json    the same as one JSON object, for scripts
  status --line    one short line for a status bar or prompt:
                   ● working  ▲ needs approval  ◆ awaiting review  ○ idle
  open <id>        go to a session: its terminal window and tmux pane, its VS Code
                   window, or its folder; a unique start of the id is enough
  connect          install the hook helper and its entries in Claude Code's settings
  disconnect       remove those entries (the helper file stays)

options:
  -h, --help       show this help
  --version        show the version

environment:
  OSTRELVAN_DATA_DIR   where session files live (default ~/.local/share/Ostrelvan)
  CLAUDE_CONFIG_DIR    Claude Code's configuration folder (default ~/.claude)
  NO_COLOR             no colours
)";

int usageFailure(const std::string& message) {
    std::cerr << "ostrelvan: " << message << "\n\n" << usage;
    return usageError;
}

bool isHelp(const std::string& argument) {
    return argument == "-h" || argument == "--help";
}

struct Command {
    std::string name;
    std::optional<cli::StatusOutput> statusOutput;
    std::string session; // for open
};

// A command, or an error already reported (then the exit code is in `failure`).
std::optional<Command> parse(const std::vector<std::string>& arguments, int& failure) {
    if (arguments.empty()) {
        return Command{"watch", {}, {}};
    }
    const std::string& name = arguments.front();
    if (name != "status" && name != "watch" && name != "connect" && name != "disconnect" &&
        name != "open") {
        failure = usageFailure(name.starts_with("-") ? "unknown option '" + name + "'"
                                                     : "unknown command '" + name + "'");
        return std::nullopt;
    }
    Command command{name, {}, {}};
    if (name == "status") {
        command.statusOutput = cli::StatusOutput::human;
    }
    std::size_t first = 1;
    if (name == "open") {
        if (arguments.size() < 2 || arguments[1].empty() || arguments[1].starts_with("-")) {
            failure = usageFailure(arguments.size() < 2
                                       ? "open needs a session id"
                                       : "unknown option '" + arguments[1] + "' for open");
            return std::nullopt;
        }
        command.session = arguments[1];
        first = 2;
    }
    for (std::size_t i = first; i < arguments.size(); ++i) {
        const std::string& option = arguments[i];
        const bool isFormat = option == "--json" || option == "--line";
        if (name == "status" && isFormat && command.statusOutput == cli::StatusOutput::human) {
            command.statusOutput =
                option == "--json" ? cli::StatusOutput::json : cli::StatusOutput::line;
        } else if (name == "status" && isFormat) {
            failure = usageFailure("--json and --line cannot be combined");
            return std::nullopt;
        } else {
            failure = usageFailure("unknown option '" + option + "' for " + name);
            return std::nullopt;
        }
    }
    return command;
}

std::filesystem::path homeFolder(const Environment& environment) {
    if (auto home = nonEmpty(environment, "HOME")) {
        return *home;
    }
    return QDir::homePath().toStdString();
}

} // namespace

int main(int argc, char* argv[]) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const auto& argument = arguments[i];
        if (isHelp(argument) || (i == 0 && argument == "help")) {
            std::cout << usage;
            return 0;
        }
        if (argument == "--version" || (i == 0 && argument == "version")) {
            std::cout << "ostrelvan " << OSTRELVAN_VERSION << "\n";
            return 0;
        }
    }
    int failure = 0;
    const auto command = parse(arguments, failure);
    if (!command) {
        return failure;
    }

    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Ostrelvan"));
    QCoreApplication::setApplicationName(QStringLiteral("Ostrelvan"));
    QCoreApplication::setApplicationVersion(QStringLiteral(OSTRELVAN_VERSION));
    // Informational lines would land in the middle of the output; QT_LOGGING_RULES still wins.
    QLoggingCategory::setFilterRules(QStringLiteral("*.info=false\n*.debug=false"));

    const Environment environment = processEnvironment();
    SettingsKeyValueStore defaults;
    AppSettings settings(defaults);
    cli::CommandContext context{environment,
                                homeFolder(environment),
                                QCoreApplication::applicationDirPath().toStdString(),
                                settings,
                                std::cout,
                                std::cerr};

    if (command->name == "connect") {
        return cli::connect(context);
    }
    if (command->name == "disconnect") {
        return cli::disconnect(context);
    }
    if (command->name == "open") {
        return cli::open(context, defaults, command->session);
    }
    if (command->statusOutput) {
        return cli::status(context, defaults, *command->statusOutput);
    }
    return cli::watch(context, defaults);
}
