#pragma once

#include "TemporaryFolder.h"

#include <fcntl.h>
#include <map>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <vector>

namespace ostrelvan::test {

using Variables = std::map<std::string, std::string>;

// A process started with a file as standard input and one appended to as standard output, in an
// environment made only of `environment`. By default the real ostrelvan-hook.
class HookProcess {
public:
    HookProcess(const std::filesystem::path& input, const std::filesystem::path& output,
                const Variables& environment, std::vector<std::string> argv = {},
                const std::filesystem::path& workingDirectory = {}) {
        if (argv.empty() || argv[0].starts_with("--"))
            argv.insert(argv.begin(), OSTRELVAN_HOOK_PATH);
        std::vector<std::string> entries;
        for (const auto& [name, value] : environment)
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
        posix_spawn_file_actions_addopen(&actions, 0, input.c_str(), O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 1, output.c_str(), O_WRONLY | O_CREAT | O_APPEND,
                                         0600);
        if (!workingDirectory.empty())
            posix_spawn_file_actions_addchdir_np(&actions, workingDirectory.c_str());
        int error = posix_spawn(&pid_, args[0], &actions, nullptr, args.data(), envp.data());
        posix_spawn_file_actions_destroy(&actions);
        if (error != 0)
            throw std::runtime_error("cannot start " + argv[0]);
    }

    pid_t pid() const { return pid_; }

    // The raw wait status.
    int wait() {
        int status = 0;
        while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
        }
        return status;
    }

private:
    pid_t pid_ = 0;
};

inline std::string payload(const std::string& name, const std::string& session,
                           const std::string& extra = "") {
    return R"({"hook_event_name":")" + name + R"(","session_id":")" + session +
           R"(","cwd":"/w/app")" + extra + "}";
}

// A data root in a temporary folder; runs the helper one event at a time.
struct HookFixture {
    TemporaryFolder temp;
    int counter = 0;

    std::filesystem::path root() const { return temp.path() / "data"; }
    std::filesystem::path sessions() const { return root() / "sessions"; }
    std::filesystem::path output() const { return temp.path() / "stdout"; }
    Variables environment() const {
        return {{"OSTRELVAN_DATA_DIR", root().string()}, {"PATH", "/usr/bin:/bin"}};
    }

    std::filesystem::path payloadFile(const std::string& bytes) {
        auto path = temp.path() / ("payload" + std::to_string(counter++));
        writeText(path, bytes);
        return path;
    }

    // Runs the helper to its end; true when it exited with status 0.
    bool run(const std::string& bytes) {
        int status = HookProcess(payloadFile(bytes), output(), environment()).wait();
        return WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }
};

} // namespace ostrelvan::test
