// Runs the real ostrelvan-hook once per event, alternating with /bin/true given the same standard
// input and environment, and prints the median wall time of each, their ratio and the peak RSS.
//
// A child's ru_maxrss starts from the peak of the process that spawned it (the address space it
// leaves at exec), so peak RSS is measured through this same, statically linked, executable
// re-run as a small probe ("--probe <program> <input>") that allocates nothing before spawning.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <poll.h>
#include <spawn.h>
#include <string>
#include <string_view>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;

namespace {

struct Run {
    double milliseconds = 0;
};

Run spawnOnce(const char* program, const fs::path& input, char* const* envp) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, input.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    char* argv[] = {const_cast<char*>(program), nullptr};
    auto start = std::chrono::steady_clock::now();
    pid_t pid = 0;
    if (posix_spawn(&pid, program, &actions, nullptr, argv, envp) != 0) {
        std::perror(program);
        std::exit(1);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    auto end = std::chrono::steady_clock::now();
    posix_spawn_file_actions_destroy(&actions);
    return {std::chrono::duration<double, std::milli>(end - start).count()};
}

long probeRss(const char* program, const fs::path& input, char* const* envp) {
    const fs::path output = input.parent_path() / "probe.out";
    std::string self = fs::read_symlink("/proc/self/exe").string();
    std::string in = input.string();
    char* argv[] = {self.data(), const_cast<char*>("--probe"), const_cast<char*>(program),
                    in.data(), nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC,
                                     0600);
    pid_t pid = 0;
    posix_spawn(&pid, self.c_str(), &actions, nullptr, argv, envp);
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    waitpid(pid, &status, 0);
    long kib = 0;
    std::ifstream(output) >> kib;
    return kib;
}

// The probe itself: spawn, wait, print the child's peak RSS in KiB.
int probe(char* program, const char* input, char** envp) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, input, O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    char* argv[] = {program, nullptr};
    pid_t pid = 0;
    if (posix_spawn(&pid, program, &actions, nullptr, argv, envp) != 0)
        return 1;
    int status = 0;
    struct rusage usage {};
    wait4(pid, &status, 0, &usage);
    std::printf("%ld\n", usage.ru_maxrss);
    return 0;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void measure(const char* label, const std::string& payload, int rounds, const fs::path& folder,
             char* const* envp) {
    const fs::path input = folder / "payload.json";
    std::ofstream(input, std::ios::binary) << payload;
    std::vector<double> helper, bare;
    long helperRss = 0, bareRss = 0;
    for (int i = 0; i < 5; ++i) // warm the page cache and the session file
        spawnOnce(OSTRELVAN_HOOK_PATH, input, envp);
    for (int i = 0; i < rounds; ++i) {
        Run h = spawnOnce(OSTRELVAN_HOOK_PATH, input, envp);
        Run b = spawnOnce("/bin/true", input, envp);
        helper.push_back(h.milliseconds);
        bare.push_back(b.milliseconds);
    }
    for (int i = 0; i < 10; ++i) {
        helperRss = std::max(helperRss, probeRss(OSTRELVAN_HOOK_PATH, input, envp));
        bareRss = std::max(bareRss, probeRss("/bin/true", input, envp));
    }
    const double h = median(helper), b = median(bare);
    std::printf("%-34s %9zu B  helper %7.3f ms  /bin/true %7.3f ms  ratio %5.2fx  "
                "peak RSS helper %5.2f MiB  /bin/true %5.2f MiB  (%d rounds)\n",
                label, payload.size(), h, b, h / b, helperRss / 1024.0, bareRss / 1024.0, rounds);
}

std::string typicalPreToolUse() {
    return R"({"session_id":"0d6c2a4e-5b1f-4c8e-9a3d-7e2f1b6c8d90",)"
           R"("transcript_path":"/home/user/.claude/projects/-home-user-src-app/0d6c2a4e-5b1f-4c8e-9a3d-7e2f1b6c8d90.jsonl",)"
           R"("cwd":"/home/user/src/app","permission_mode":"default","hook_event_name":"PreToolUse",)"
           R"("tool_name":"Bash","tool_input":{"command":"cd web && npm run build && npx vitest run --reporter=dot",)"
           R"("description":"Build and run the web tests","timeout":120000},)"
           R"("tool_use_id":"toolu_01A2B3C4D5E6F7G8H9J0K1L2"})";
}

std::string largePostToolUse() {
    std::string output;
    output.reserve(1 << 20);
    while (output.size() < (1 << 20) - 100)
        output += "PASS src/components/Widget.test.ts (12 tests) 0.42s\\n";
    return R"({"session_id":"0d6c2a4e-5b1f-4c8e-9a3d-7e2f1b6c8d90",)"
           R"("cwd":"/home/user/src/app","hook_event_name":"PostToolUse","tool_name":"Bash",)"
           R"("tool_input":{"command":"npx vitest run"},"tool_response":{"stdout":")" +
           output + R"(","stderr":"","interrupted":false}})";
}

std::string typicalPermissionRequest() {
    return R"({"session_id":"0d6c2a4e-5b1f-4c8e-9a3d-7e2f1b6c8d90",)"
           R"("transcript_path":"/home/user/.claude/projects/-home-user-src-app/0d6c2a4e-5b1f-4c8e-9a3d-7e2f1b6c8d90.jsonl",)"
           R"("cwd":"/home/user/src/app","permission_mode":"default",)"
           R"("hook_event_name":"PermissionRequest","prompt_id":"4f1c9e2a-7b3d-4a8e-b6c5-1d2e3f4a5b6c",)"
           R"("tool_name":"Bash","tool_input":{"command":"npm test","description":"Run the tests"},)"
           R"("permission_suggestions":[{"type":"addRules","rules":[{"toolName":"Bash",)"
           R"("ruleContent":"npm test *"}],"behavior":"allow","destination":"localSettings"}]})";
}

// The desktop app with answers on, reduced to declining every request the moment it arrives.
class DecliningApp {
public:
    explicit DecliningApp(const fs::path& socket) : path_(socket) {
        fs::create_directories(socket.parent_path());
        listener_ = ::socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::snprintf(address.sun_path, sizeof address.sun_path, "%s", socket.c_str());
        if (::bind(listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
            ::listen(listener_, 16) != 0) {
            std::perror("permission socket");
            std::exit(1);
        }
        thread_ = std::thread([this] { serve(); });
    }
    ~DecliningApp() {
        stop_ = true;
        thread_.join();
        std::printf("%-34s %d requests, each declined\n", "  the stand-in app saw",
                    declined_.load());
        ::close(listener_);
        fs::remove(path_);
    }

private:
    void serve() {
        while (!stop_) {
            pollfd ready{listener_, POLLIN, 0};
            if (::poll(&ready, 1, 50) <= 0)
                continue;
            const int peer = ::accept(listener_, nullptr, nullptr);
            if (peer < 0)
                continue;
            std::string line;
            char buffer[4096];
            ssize_t got = 0;
            while (line.find('\n') == std::string::npos &&
                   (got = ::read(peer, buffer, sizeof buffer)) > 0)
                line.append(buffer, static_cast<std::size_t>(got));
            const std::string key = R"("requestId":")";
            const auto at = line.find(key);
            if (at != std::string::npos) {
                const std::string reply = R"({"type":"declined","requestId":")" +
                                          line.substr(at + key.size(), 32) + "\"}\n";
                [[maybe_unused]] ssize_t sent = ::write(peer, reply.data(), reply.size());
                ++declined_;
            }
            ::close(peer);
        }
    }

    fs::path path_;
    int listener_ = -1;
    std::atomic<bool> stop_{false};
    std::atomic<int> declined_{0};
    std::thread thread_;
};

} // namespace

int main(int argc, char** argv, char** envp) {
    if (argc == 4 && std::string_view(argv[1]) == "--probe")
        return probe(argv[2], argv[3], envp);
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 400;
    char folderTemplate[] = "/tmp/ostrelvan-bench-XXXXXX";
    const fs::path folder = mkdtemp(folderTemplate);
    // The environment Claude Code gives a hook: the agent's pid (this process stands in) and paths.
    std::vector<std::string> entries = {"OSTRELVAN_DATA_DIR=" + (folder / "data").string(),
                                        "CLAUDE_PID=" + std::to_string(getpid()),
                                        "CLAUDE_CODE_ENTRYPOINT=cli",
                                        "TERM_PROGRAM=kitty",
                                        "PATH=/usr/bin:/bin",
                                        "HOME=" + folder.string()};
    std::vector<char*> environment;
    for (auto& entry : entries)
        environment.push_back(entry.data());
    environment.push_back(nullptr);

    measure("typical PreToolUse", typicalPreToolUse(), rounds, folder, environment.data());
    measure("1 MB PostToolUse", largePostToolUse(), std::max(rounds / 4, 20), folder,
            environment.data());
    // A permission request when the app is not running (goal: 1.3x a bare spawn), and when it
    // runs and declines at once: the connection and the round trip.
    measure("PermissionRequest, no app", typicalPermissionRequest(), rounds, folder,
            environment.data());
    {
        DecliningApp app(folder / "data" / "permission.sock");
        measure("PermissionRequest, app declines", typicalPermissionRequest(), rounds, folder,
                environment.data());
    }
    fs::remove_all(folder);
    return 0;
}
