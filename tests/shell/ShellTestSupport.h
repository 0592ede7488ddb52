#pragma once

#include "TestSupport.h"
#include "app/integration/HookInstaller.h"
#include "app/shell/AppServices.h"
#include "app/shell/AppState.h"
#include "app/store/MemoryKeyValueStore.h"
#include "core/SessionFileStore.h"

#include <QList>
#include <QLocalSocket>
#include <QString>
#include <QTest>
#include <QtGlobal>
#include <stdexcept>
#include <sys/inotify.h>
#include <unistd.h>

namespace ostrelvan::test {

// Every log line as "category: message", for tests that check what was logged and how often.
class LogRecorder {
public:
    LogRecorder() {
        lines().clear();
        previous_ = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext& context, const QString& message) {
                lines() << QString::fromUtf8(context.category) + QStringLiteral(": ") + message;
            });
    }
    ~LogRecorder() { qInstallMessageHandler(previous_); }

    static QStringList& lines() {
        static QStringList recorded;
        return recorded;
    }

private:
    QtMessageHandler previous_ = nullptr;
};

// Whether anything opened a file since the watch began: the kernel tells, the reader cannot hide.
class OpenWatch {
public:
    explicit OpenWatch(const Path& path) : fd_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
        ::inotify_add_watch(fd_, path.c_str(), IN_OPEN);
    }
    ~OpenWatch() { ::close(fd_); }
    bool opened() const {
        char events[4096];
        return ::read(fd_, events, sizeof events) > 0;
    }

private:
    int fd_;
};

// The hook helper's end of the permission socket, driven from the test's thread while the app
// answers from its event loop.
struct HelperSocket {
    QLocalSocket socket;

    explicit HelperSocket(const PermissionRequests& requests) {
        socket.connectToServer(QString::fromStdString(requests.socketPath().string()));
        if (!socket.waitForConnected(5000))
            throw std::runtime_error("the app does not listen");
    }
    void send(const std::string& bytes) {
        socket.write(bytes.data(), qint64(bytes.size()));
        socket.flush();
    }
    // The next line from the app; fails the test when none comes.
    PermissionMessage next() {
        if (!QTest::qWaitFor([this] { return socket.canReadLine(); }, 10000))
            throw std::runtime_error("no line from the app");
        return PermissionMessage::decode(socket.readLine().toStdString());
    }
    // What the app says first to the request `line`.
    PermissionMessage::Type ask(const std::string& line) {
        send(line);
        return next().type;
    }
    bool closedByApp() {
        return QTest::qWaitFor([this] { return socket.state() == QLocalSocket::UnconnectedState; },
                               10000);
    }
};

// A request of session `session`, working in /work/<session>, with id 32 times `digit`.
inline std::string
requestLine(char digit, const std::string& session, const std::string& command = "npm test",
            const nlohmann::ordered_json& suggestions = nlohmann::ordered_json::array()) {
    return PermissionMessage::request(std::string(32, digit), session, "prompt-1",
                                      "/work/" + session, "Bash", command, suggestions)
        .encode();
}

// A widget that writes down what it was asked to do.
struct FakeWidget : WidgetHost {
    QStringList& events;
    explicit FakeWidget(QStringList& log) : events(log) {}
    void show() override { events << QStringLiteral("widget shown"); }
    void setPinnedOpen(bool pinned) override { events << QStringLiteral("pinned %1").arg(pinned); }
    void present() override { events << QStringLiteral("presented"); }
    void collapse() override { events << QStringLiteral("collapsed"); }
};

struct FakeUpdateService : UpdateService {
    QStringList& events;
    explicit FakeUpdateService(QStringList& log) : events(log) {}
    void start(std::function<void(bool)> canCheck) override {
        events << QStringLiteral("updater started");
        canCheck(true);
    }
    void checkForUpdates() override { events << QStringLiteral("checked for updates"); }
};

// A home folder with a bundled helper, and services that write down into `events` what the
// app did with the machine.
struct ShellMachine {
    TempDir home;
    QStringList events;
    AppServices services;
    MemoryKeyValueStore defaults;

    ShellMachine() {
        writeText(home / "bundle/ostrelvan-hook", "#!/bin/sh\nexit 0\n");
        services.environment = {{"HOME", home.path().string()},
                                {"OSTRELVAN_DATA_DIR", (home / "data/Ostrelvan").string()},
                                {"XDG_CONFIG_HOME", (home / "config").string()}};
        services.home = home.path();
        services.process = {"/usr/bin/ostrelvan-desktop", {}, 4242};
        services.bundledHelper = home / "bundle/ostrelvan-hook";
        services.bundleInfo = {{"SUFeedURL", "https://updates.example.com/appcast.xml"},
                               {"SUPublicEDKey", "c2lnbmluZy1rZXk="},
                               {"CFBundleVersion", "37"},
                               {"CFBundleShortVersionString", "1.4"}};
        services.makeUpdateService = [this](const std::optional<std::string>&) {
            return std::make_unique<FakeUpdateService>(events);
        };
        services.playSound = [this](SoundPlayer::Cue cue) {
            events << (cue == SoundPlayer::Cue::approval ? QStringLiteral("sound approval")
                                                         : QStringLiteral("sound done"));
        };
        services.startDetached = [this](const Command& command, std::string&) {
            // The arguments, as counted without the program.
            events << QStringLiteral("launched %1").arg(command.size() - 1);
            return true;
        };
        services.quit = [this] { events << QStringLiteral("quit"); };
        services.makeWidget = [this](const WidgetContext&) {
            events << QStringLiteral("widget made");
            return std::make_unique<FakeWidget>(events);
        };
        services.openSession = [this](const DisplayedSession& session,
                                      std::optional<std::uint32_t>) {
            events << QStringLiteral("opened %1").arg(QString::fromStdString(session.id()));
        };
    }

    // The app over this machine, with its settings in `defaults`.
    std::unique_ptr<AppState> app(LaunchMode::Kind kind = LaunchMode::Kind::tests) {
        return std::make_unique<AppState>(LaunchMode{kind, {}}, defaults, services);
    }

    Path settingsFile() const { return home / ".claude/settings.json"; }
    Path helper() const { return home / "data/Ostrelvan/bin/ostrelvan-hook"; }

    // A session of a live process (this one) that waits for the user.
    void putWaitingSession(const std::string& id,
                           SessionStatus status = SessionStatus::needsApproval) {
        auto state = SessionState::make(id, "/work/" + id, SessionHost::terminal, std::nullopt,
                                        std::int32_t(::getpid()), wallClockNow());
        state.status = status;
        state.startedConversation = true;
        const Path sessions = home / "data/Ostrelvan/sessions";
        std::filesystem::create_directories(sessions);
        SessionFileStore::write(state, sessions / (id + ".json"));
    }
};

} // namespace ostrelvan::test
