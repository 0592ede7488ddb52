#pragma once

#include "TemporaryFolder.h"

#include <fcntl.h>
#include <filesystem>
#include <map>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace ostrelvan::test {

// Starts the real ostrelvan-hook with a payload file as standard input and a file as standard
// output, in an environment made only of `environment`.
class HookProcess {
public:
    HookProcess(const std::filesystem::path& payload, const std::filesystem::path& output,
                const std::map<std::string, std::string>& environment,
                std::vector<std::string> arguments = {},
                const std::filesystem::path& workingDirectory = {}) {
        std::vector<std::string> entries;
        for (const auto& [name, value] : environment)
            entries.push_back(name + "=" + value);
        std::vector<char*> envp;
        for (auto& entry : entries)
            envp.push_back(entry.data());
        envp.push_back(nullptr);
        std::string program = OSTRELVAN_HOOK_PATH;
        std::vector<char*> argv{program.data()};
        for (auto& argument : arguments)
            argv.push_back(argument.data());
        argv.push_back(nullptr);

        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 0, payload.c_str(), O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 1, output.c_str(), O_WRONLY | O_CREAT | O_APPEND,
                                         0600);
        if (!workingDirectory.empty())
            posix_spawn_file_actions_addchdir_np(&actions, workingDirectory.c_str());
        int error =
            posix_spawn(&pid_, program.c_str(), &actions, nullptr, argv.data(), envp.data());
        posix_spawn_file_actions_destroy(&actions);
        if (error != 0)
            throw std::runtime_error("cannot start " + program);
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

// A data root with a payload folder; runs the helper one event at a time.
class HookFixture {
public:
    std::filesystem::path root() const { return temp.path() / "data"; }
    std::filesystem::path sessions() const { return root() / "sessions"; }
    std::filesystem::path output() const { return temp.path() / "stdout"; }

    std::map<std::string, std::string> environment() const {
        return {{"OSTRELVAN_DATA_DIR", root().string()}, {"PATH", "/usr/bin:/bin"}};
    }

    std::filesystem::path payloadFile(const std::string& payload) {
        auto path = temp.path() / ("payload" + std::to_string(counter++));
        writeText(path, payload);
        return path;
    }

    // Runs the helper to its end and returns the wait status.
    int run(const std::string& payload) {
        return HookProcess(payloadFile(payload), output(), environment()).wait();
    }

    TemporaryFolder temp;
    int counter = 0;
};

} // namespace ostrelvan::test
