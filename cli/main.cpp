#include "app/services/AppSettings.h"
#include "app/services/QtProcessStarter.h"
#include "app/services/SessionOpening.h"
#include "app/store/SettingsKeyValueStore.h"
#include "app/store/UserFolders.h"
#include "base/Environment.h"
#include "cli/CommandContext.h"
#include "cli/CommandLine.h"
#include "cli/ConnectCommand.h"
#include "cli/OpenCommand.h"
#include "cli/StatusCommand.h"
#include "cli/TerminalText.h"
#include "cli/WatchCommand.h"

#include <QCoreApplication>
#include <QLoggingCategory>
#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

using namespace ostrelvan;

namespace {

constexpr int usageError = 2;

std::optional<std::string> tmuxPaneOf(const SessionOpening::Machine& machine,
                                      const SessionState& state) {
    const auto pane = state.pid ? machine.tmuxPane(*state.pid) : std::nullopt;
    return pane ? std::optional(pane->pane) : std::nullopt;
}

} // namespace

int main(int argc, char* argv[]) {
    const auto line = cli::CommandLine::parse(std::vector<std::string>(argv + 1, argv + argc));
    if (line.error) {
        const std::string help =
            line.command.empty() ? "ostrelvan --help" : "ostrelvan " + line.command + " --help";
        std::cerr << "ostrelvan: " << cli::TerminalText::sanitized(*line.error) << " (see `" << help
                  << "`)\n";
        return usageError;
    }
    if (line.action == cli::CommandLine::Action::help) {
        std::cout << cli::CommandLine::help(line.command);
        return 0;
    }
    if (line.action == cli::CommandLine::Action::version) {
        std::cout << "ostrelvan " << OSTRELVAN_VERSION << "\n";
        return 0;
    }

    Environment environment = processEnvironment();
    if (const auto refusal = UserFolders::settle(environment)) {
        std::cerr << "ostrelvan: " << cli::TerminalText::sanitized(*refusal) << "\n";
        return usageError;
    }
    // The settings and everything started from here agree on the home folder.
    setenv("HOME", environment.at("HOME").c_str(), 1);

    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName(QStringLiteral("Ostrelvan"));
    QCoreApplication::setApplicationName(QStringLiteral("Ostrelvan"));
    QCoreApplication::setApplicationVersion(QStringLiteral(OSTRELVAN_VERSION));
    // Informational lines would land in the middle of the output; QT_LOGGING_RULES still wins.
    QLoggingCategory::setFilterRules(QStringLiteral("*.info=false\n*.debug=false"));

    SettingsKeyValueStore defaults;
    AppSettings settings(defaults);
    const UserFolders folders(environment);
    const std::filesystem::path& home = folders.home();
    const auto machine = SessionOpening::Machine::live(folders.claudeConfig(), environment);
    cli::CommandContext context{
        environment,
        home,
        QCoreApplication::applicationDirPath().toStdString(),
        settings,
        std::cout,
        std::cerr,
        [&machine](const SessionState& state) { return tmuxPaneOf(machine, state); }};

    if (line.command == "connect") {
        return cli::connect(context);
    }
    if (line.command == "disconnect") {
        return cli::disconnect(context);
    }
    if (line.command == "status") {
        return cli::status(context, defaults, line.output, line.tmux);
    }
    // Enter in the live view goes to a session the way `open` does.
    QtProcessStarter starter;
    SessionOpening opening(starter, machine);
    if (line.command == "open") {
        return cli::open(context, defaults, opening, line.session);
    }
    return cli::watch(context, defaults, opening);
}
