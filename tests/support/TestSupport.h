#pragma once

// What the suites share: temporary folders, whole files, real child processes, and waiting on a
// condition.
#include <cerrno>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

extern char** environ;

namespace ostrelvan::test {

using Path = std::filesystem::path;

// Polls `condition` until it holds or `limit` has passed; whether it held.
inline bool eventually(const std::function<bool()>& condition,
                       std::chrono::milliseconds limit = std::chrono::seconds(10)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return true;
}

// A fresh folder under the system's temporary folder, removed with everything in it.
class TempDir {
public:
    TempDir() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "ostrelvan-XXXXXX").string();
        if (!::mkdtemp(pattern.data()))
            throw std::runtime_error("mkdtemp failed");
        path_ = pattern;
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    const Path& path() const { return path_; }
    Path operator/(std::string_view name) const { return path_ / name; }

private:
    Path path_;
};

inline std::string readText(const Path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// The first line written to `file`, once it is whole: how Xvfb -displayfd and dbus-daemon
// --print-address say they are ready. None when no line came within `limit`.
inline std::optional<std::string>
firstLine(const Path& file, std::chrono::milliseconds limit = std::chrono::seconds(20)) {
    if (!eventually([&] { return readText(file).find('\n') != std::string::npos; }, limit))
        return std::nullopt;
    const std::string text = readText(file);
    return text.substr(0, text.find('\n'));
}

// Creates the parent folders first.
inline void writeText(const Path& path, std::string_view bytes) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary).write(bytes.data(), std::streamsize(bytes.size()));
}

// Names in a folder, sorted, so that stray temporaries show up in a comparison.
inline std::string listing(const Path& folder) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.insert(entry.path().filename());
    std::string text;
    for (const auto& name : names)
        text += name + "\n";
    return text;
}

inline unsigned mode(const Path& path) {
    return unsigned(std::filesystem::status(path).permissions() & std::filesystem::perms::mask);
}

// A process that exists and is not a zombie.
inline bool processRuns(pid_t pid) {
    const std::string stat = readText("/proc/" + std::to_string(pid) + "/stat");
    const auto close = stat.rfind(')');
    return close != std::string::npos && close + 2 < stat.size() && stat[close + 2] != 'Z';
}

// A Claude Code hook payload; `extra` is more ,"key":value text.
inline std::string payload(const std::string& event, const std::string& session,
                           const std::string& extra = "") {
    return R"({"hook_event_name":")" + event + R"(","session_id":")" + session +
           R"(","cwd":"/w/app")" + extra + "}";
}

using Variables = std::map<std::string, std::string>;

// Standard input read from a file, standard output and error appended to files.
struct Streams {
    Path in = "/dev/null", out = "/dev/null", err = "/dev/null";
};

// A real child process; without an environment it inherits this one. Killed and reaped unless
// waited for. In a process group of its own, a signal to the group reaches it as one from Claude
// Code reaches a hook.
class Process {
public:
    explicit Process(std::vector<std::string> argv,
                     const std::optional<Variables>& environment = {}, const Streams& streams = {},
                     const Path& workingDirectory = {}, bool ownProcessGroup = false) {
        std::vector<std::string> entries;
        if (environment)
            for (const auto& [name, value] : *environment)
                entries.push_back(name + "=" + value);
        std::vector<char*> envp, args;
        for (auto& entry : entries)
            envp.push_back(entry.data());
        for (auto& argument : argv)
            args.push_back(argument.data());
        envp.push_back(nullptr);
        args.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 0, streams.in.c_str(), O_RDONLY, 0);
        constexpr int append = O_WRONLY | O_CREAT | O_APPEND;
        posix_spawn_file_actions_addopen(&actions, 1, streams.out.c_str(), append, 0600);
        posix_spawn_file_actions_addopen(&actions, 2, streams.err.c_str(), append, 0600);
        if (!workingDirectory.empty())
            posix_spawn_file_actions_addchdir_np(&actions, workingDirectory.c_str());
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        if (ownProcessGroup) {
            posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
            posix_spawnattr_setpgroup(&attributes, 0);
        }
        const int error = ::posix_spawnp(&pid_, args[0], &actions, &attributes, args.data(),
                                         environment ? envp.data() : environ);
        posix_spawn_file_actions_destroy(&actions);
        posix_spawnattr_destroy(&attributes);
        if (error != 0)
            throw std::runtime_error("cannot start " + argv[0]);
    }
    Process(Process&& other) noexcept
        : pid_(other.pid_), waited_(std::exchange(other.waited_, true)) {}
    Process& operator=(Process&&) = delete;
    ~Process() {
        if (!waited_) {
            ::kill(pid_, SIGKILL);
            wait();
        }
    }

    pid_t pid() const { return pid_; }

    // The raw wait status.
    int wait() {
        int status = 0;
        while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
        }
        waited_ = true;
        return status;
    }

    // The raw wait status if it ends within `timeout`; otherwise it runs on.
    std::optional<int> waitFor(std::chrono::milliseconds timeout) {
        int status = 0;
        if (!eventually([&] { return ::waitpid(pid_, &status, WNOHANG) != 0; }, timeout))
            return std::nullopt;
        waited_ = true;
        return status;
    }

private:
    pid_t pid_ = 0;
    bool waited_ = false;
};

struct Outcome {
    int code = -1; // -1 unless the program exited
    std::string out;
    std::string err;
};

// Runs a program to its end with `input` on standard input.
inline Outcome run(std::vector<std::string> argv, const std::optional<Variables>& environment,
                   std::string_view input = {}, const Path& workingDirectory = {}) {
    TempDir scratch;
    writeText(scratch / "in", input);
    const int status = Process(std::move(argv), environment,
                               {scratch / "in", scratch / "out", scratch / "err"}, workingDirectory)
                           .wait();
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readText(scratch / "out"),
            readText(scratch / "err")};
}

} // namespace ostrelvan::test
