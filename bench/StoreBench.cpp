// A reload reads every session file, every registry record and one transcript per session, on
// every hook burst and every 15 s. A lone hook event is published at once; a burst is coalesced
// into a few reloads.
#include "app/discovery/ClaudeSystem.h"
#include "app/discovery/FileDecodeCache.h"
#include "app/discovery/Transcript.h"
#include "app/store/AcknowledgedStore.h"
#include "app/store/MemoryKeyValueStore.h"
#include "app/store/SessionStore.h"
#include "base/ProcessTable.h"
#include "core/ClaudeRegistry.h"
#include "core/SessionFileStore.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QProcess>
#include <QTemporaryDir>
#include <QTimer>
#include <algorithm>
#include <benchmark/benchmark.h>
#include <fstream>
#include <memory>
#include <thread>
#include <vector>

using namespace ostrelvan;

namespace {

void writeText(const std::filesystem::path& path, const std::string& text) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
}

// `count` live agent processes, each with a session file, a registry record and a titled
// transcript, as on a busy machine.
struct Machine {
    QTemporaryDir root;
    std::filesystem::path config = root.filePath("claude").toStdString();
    SessionFileStore files{root.filePath("data/sessions").toStdString()};
    std::vector<std::unique_ptr<QProcess>> agents;

    explicit Machine(int count) {
        const TimePoint now = wallClockNow();
        const auto startedMs =
            std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count();
        std::filesystem::create_directories(files.directory());
        for (int i = 0; i < count; ++i) {
            auto& agent = agents.emplace_back(std::make_unique<QProcess>());
            agent->start("sleep", {"600"});
            agent->waitForStarted();
            const auto pid = static_cast<std::int32_t>(agent->processId());
            const std::string id = "session-" + std::to_string(i);
            const std::string cwd = "/work/project-" + std::to_string(i % 40);
            auto state = SessionState::make(id, cwd, SessionHost::terminal, "kitty", pid, now);
            state.status = SessionStatus::working;
            state.startedConversation = true;
            SessionFileStore::write(state, files.fileURL(id));
            writeText(ClaudeRegistry::sessionsDirectory(config) / (std::to_string(pid) + ".json"),
                      R"({"pid":)" + std::to_string(pid) + R"(,"sessionId":")" + id +
                          R"(","cwd":")" + cwd +
                          R"(","kind":"interactive","status":"busy","startedAt":)" +
                          std::to_string(startedMs) + "}");
            writeText(Transcript::url(config, cwd, id),
                      R"({"type":"custom-title","customTitle":"Task )" + std::to_string(i) +
                          "\"}\n");
        }
    }

    ~Machine() {
        for (auto& agent : agents) {
            agent->kill();
            agent->waitForFinished();
        }
    }
};

void reload(benchmark::State& state) {
    const int count = static_cast<int>(state.range(0));
    Machine machine(count);
    MemoryKeyValueStore defaults;
    AcknowledgedStore acknowledged(defaults);
    SessionStore store(machine.files, acknowledged, ProcessTable::isAlive, wallClockNow,
                       {machine.config},
                       ClaudeSystem::live(machine.root.filePath("home").toStdString(),
                                          {{"CLAUDE_CONFIG_DIR", machine.config.string()}}));
    // Files younger than the decode caches' settle time are read afresh each time; on a real
    // machine most files are older.
    std::this_thread::sleep_for(FileSignature::settleTime + std::chrono::milliseconds(100));
    store.reload();
    if (store.sessions().size() != static_cast<std::size_t>(count)) {
        state.SkipWithError("not every session was shown");
        return;
    }
    for (auto _ : state) {
        store.reload();
        benchmark::DoNotOptimize(store.sessions().data());
    }
    state.counters["sessions"] = count;
}
BENCHMARK(reload)->Arg(50)->Arg(100)->Arg(200)->Unit(benchmark::kMillisecond);

// A started store over a fresh data folder, and the environment in which the real helper writes
// there for a session of this (live) process.
struct HookedStore {
    QTemporaryDir root;
    MemoryKeyValueStore defaults;
    AcknowledgedStore acknowledged{defaults};
    SessionStore store{SessionFileStore(root.filePath("sessions").toStdString()),
                       acknowledged,
                       ProcessTable::isAlive,
                       wallClockNow,
                       {root.filePath("home/.claude").toStdString()},
                       ClaudeSystem::none()};
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();

    HookedStore() {
        store.start();
        environment.insert("OSTRELVAN_DATA_DIR", root.path());
        environment.insert("CLAUDE_PID", QString::number(QCoreApplication::applicationPid()));
    }
};

// From the moment the hook helper exits to the store publishing what it wrote, after a quiet
// spell.
void helperExitToPublish(benchmark::State& state) {
    HookedStore hooked;
    SessionStore& store = hooked.store;
    const QProcessEnvironment& environment = hooked.environment;
    bool working = false;
    for (auto _ : state) {
        // After a quiet spell, as a hook event mostly comes; a burst is measured below.
        state.PauseTiming();
        QEventLoop quiet;
        QTimer::singleShot(300, &quiet, &QEventLoop::quit);
        quiet.exec();
        state.ResumeTiming();
        working = !working;
        const QByteArray payload =
            working ? R"({"session_id":"bench","hook_event_name":"UserPromptSubmit",)"
                      R"("cwd":"/work/bench","prompt":"go"})"
                    : R"({"session_id":"bench","hook_event_name":"Stop","cwd":"/work/bench"})";
        QProcess helper;
        helper.setProcessEnvironment(environment);
        QElapsedTimer sinceExit;
        QEventLoop loop;
        QObject::connect(&helper, &QProcess::finished, [&] { sinceExit.start(); });
        QObject::connect(&store, &SessionStore::sessionsChanged, &loop, &QEventLoop::quit);
        QTimer::singleShot(5000, &loop, &QEventLoop::quit);
        helper.start(OSTRELVAN_HOOK);
        helper.write(payload);
        helper.closeWriteChannel();
        loop.exec();
        if (!sinceExit.isValid()) {
            state.SkipWithError("the store published before the helper was seen to exit");
            return;
        }
        state.SetIterationTime(static_cast<double>(sinceExit.nsecsElapsed()) / 1e9);
    }
}
BENCHMARK(helperExitToPublish)->UseManualTime()->Iterations(20)->Unit(benchmark::kMillisecond);

// 200 hook events over 20 sessions, as fast as the helpers run one after the other: how many
// reloads they cost, and how long after the last helper exits its change is published.
void burstOf200(benchmark::State& state) {
    HookedStore hooked;
    SessionStore& store = hooked.store;
    const QProcessEnvironment& environment = hooked.environment;
    int reloads = 0;
    QObject::connect(&store, &SessionStore::sessionsChanged, [&] { ++reloads; });
    int round = 0;
    for (auto _ : state) {
        reloads = 0;
        QElapsedTimer sinceLast;
        for (int i = 0; i < 200; ++i) {
            const QByteArray event = (i / 20 + round) % 2 ? "Stop" : "UserPromptSubmit";
            QProcess helper;
            helper.setProcessEnvironment(environment);
            helper.start(OSTRELVAN_HOOK);
            helper.write(R"({"session_id":"s)" + QByteArray::number(i % 20) +
                         R"(","hook_event_name":")" + event +
                         R"(","cwd":"/work/bench","prompt":"go"})");
            helper.closeWriteChannel();
            helper.waitForFinished();
            sinceLast.start();
            QCoreApplication::processEvents();
        }
        ++round;
        // The last change is the last twenty sessions turning; wait until it is published.
        const auto last = round % 2 ? SessionStatus::awaitingReview : SessionStatus::working;
        const auto published = [&] {
            const auto& shown = store.sessions();
            return shown.size() == 20 && std::all_of(shown.begin(), shown.end(),
                                                     [&](auto& s) { return s.status == last; });
        };
        QEventLoop loop;
        QTimer::singleShot(3000, &loop, &QEventLoop::quit);
        QObject::connect(&store, &SessionStore::sessionsChanged, &loop, [&] {
            if (published())
                loop.quit();
        });
        if (!published())
            loop.exec();
        state.SetIterationTime(static_cast<double>(sinceLast.nsecsElapsed()) / 1e9);
        state.counters["publishes"] = reloads;
    }
}
BENCHMARK(burstOf200)->UseManualTime()->Iterations(4)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
