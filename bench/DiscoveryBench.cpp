// The title lookup must not grow with the transcript, and the registry is read and checked on
// every reload of the store.
#include "app/discovery/ClaudeSystem.h"
#include "app/discovery/TranscriptReader.h"
#include "base/ProcessTable.h"
#include "core/ClaudeRegistry.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <unistd.h>

using namespace ostrelvan;

namespace {

std::filesystem::path scratch() {
    static const std::filesystem::path dir = [] {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "ostrelvan-bench-XXXXXX").string();
        if (!::mkdtemp(pattern.data())) {
            std::abort();
        }
        return std::filesystem::path(pattern);
    }();
    return dir;
}

// A transcript of `size` bytes whose last megabyte is real lines; everything before is a hole.
std::filesystem::path transcript(std::int64_t size) {
    const auto folder = scratch() / "claude" / "projects" / ("-w-" + std::to_string(size));
    std::filesystem::create_directories(folder);
    const auto path = folder / "s.jsonl";
    std::string tail = R"({"type":"ai-title","aiTitle":"Fix the flaky test"})"
                       "\n";
    const std::string line =
        R"({"type":"assistant","message":{"content":")" + std::string(1800, 'x') + "\"}}\n";
    while (tail.size() + line.size() < 1'000'000) {
        tail += line;
    }
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (fd < 0 || ::ftruncate(fd, size - std::int64_t(tail.size())) != 0 ||
        ::lseek(fd, 0, SEEK_END) < 0 ||
        ::write(fd, tail.data(), tail.size()) != static_cast<ssize_t>(tail.size())) {
        std::abort();
    }
    ::close(fd);
    return path;
}

void titleLookup(benchmark::State& state) {
    const std::int64_t size = state.range(0);
    const auto path = transcript(size);
    for (auto _ : state) {
        benchmark::DoNotOptimize(TranscriptReader::title(path, size));
    }
    state.SetLabel(std::to_string(std::filesystem::file_size(path) >> 20) + " MiB transcript");
}
BENCHMARK(titleLookup)->Arg(1 << 20)->Arg(std::int64_t(1) << 30)->Unit(benchmark::kMicrosecond);

// A reader seeing the transcript for the first time: locate, attributes, tail read.
void firstInfo(benchmark::State& state) {
    const std::int64_t size = state.range(0);
    transcript(size);
    SessionState session;
    session.sessionId = "s";
    session.cwd = "/w/" + std::to_string(size);
    for (auto _ : state) {
        TranscriptReader reader(scratch() / "claude", wallClockNow);
        benchmark::DoNotOptimize(reader.info(session));
    }
}
BENCHMARK(firstInfo)->Arg(1 << 20)->Arg(std::int64_t(1) << 30)->Unit(benchmark::kMicrosecond);

// 200 records as Claude Code writes them. Live ones name this process (each costs the full
// check); dead ones name pids that do not exist.
std::filesystem::path registry(int live) {
    const auto dir = scratch() / ("sessions-" + std::to_string(live));
    std::filesystem::create_directories(dir);
    const auto self = ProcessTable::info(::getpid());
    std::int32_t deadPid = 4'000'000;
    for (int i = 0; i < 200; ++i) {
        std::int32_t pid = ::getpid();
        if (i >= live) {
            while (ProcessTable::exists(deadPid)) {
                --deadPid;
            }
            pid = deadPid--;
        }
        const auto started = self->startedAt.time_since_epoch().count();
        std::ofstream(dir / (std::to_string(i) + ".json"))
            << R"({"pid":)" << pid << R"(,"sessionId":"0b7c2d4e-9f1a-4c3b-8e6d-)" << 100000 + i
            << R"(","cwd":"/home/ana/src/project-)" << i << R"(","startedAt":)" << started
            << R"(,"procStart":"1234567","version":"2.1.140","kind":"interactive",)"
            << R"("entrypoint":"cli","name":"fix tests","nameSource":"ai","peerProtocol":2,)"
            << R"("status":"busy","updatedAt":)" << started + 5000 << R"(,"statusUpdatedAt":)"
            << started + 4000 << "}";
        std::ofstream(dir / (std::to_string(i) + ".8f3a9c1d.key")) << "secret";
    }
    return dir;
}

void loadAndLiveness(benchmark::State& state) {
    const auto dir = registry(static_cast<int>(state.range(0)));
    std::size_t kept = 0;
    for (auto _ : state) {
        kept = ClaudeSystem::liveOnly(ClaudeRegistry::load(dir)).size();
        benchmark::DoNotOptimize(kept);
    }
    state.SetLabel("200 records, " + std::to_string(kept) + " live");
}
BENCHMARK(loadAndLiveness)->Arg(200)->Arg(0)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::filesystem::remove_all(scratch());
}
