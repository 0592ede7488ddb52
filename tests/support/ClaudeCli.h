#pragma once

// The real Claude Code CLI, run offline for end-to-end tests: a temporary home, config folder
// (CLAUDE_CONFIG_DIR) and project, onboarding and trust already done, and mock_model_api.py (beside
// this header) standing in for the model API on loopback. Interactive sessions run in tmux on a
// private server, under a shell that waits for the CLI; `claude -p` runs to its end.
//
// Test targets get the paths from ostrelvan_test_support: OSTRELVAN_CLAUDE_CLI (the CLI that
// `tools/dev test` installs into build/claude-code) and OSTRELVAN_MOCK_MODEL_API.
#include "TestSupport.h"

#include <string_view>

namespace ostrelvan::test {

using namespace std::chrono_literals;

// Live processes whose executable is `program`.
inline std::vector<pid_t> processesRunning(const Path& program) {
    std::vector<pid_t> found;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator("/proc", error)) {
        const std::string name = entry.path().filename();
        std::error_code unreadable; // then the path is empty
        if (name.find_first_not_of("0123456789") == std::string::npos &&
            std::filesystem::read_symlink(entry.path() / "exe", unreadable) == program &&
            processRuns(std::stoi(name)))
            found.push_back(std::stoi(name));
    }
    return found;
}

class ClaudeCli {
public:
    static constexpr const char* apiKey = "sk-ostrelvan-test-0123456789";

    // Whether the CLI is installed; a test skips without it.
    static bool available() { return ::access(OSTRELVAN_CLAUDE_CLI, X_OK) == 0; }

    // `turns` is the model's replies, as mock_model_api.py reads them (a JSON list). `extra` is
    // added to the CLI's environment (e.g. OSTRELVAN_DATA_DIR, which reaches its hooks).
    explicit ClaudeCli(const std::string& turns, Variables extra = {}) : extra_(std::move(extra)) {
        for (const Path& folder : {home(), config(), project(), logs()})
            std::filesystem::create_directories(folder);
        writeText(logs() / "turns.json", turns);
        const std::string state =
            R"({"hasCompletedOnboarding":true,"lastOnboardingVersion":"2.1.328","theme":"dark",)"
            R"("numStartups":5,"hasSeenTasksHint":true,"customApiKeyResponses":{"approved":[")" +
            std::string(apiKey).substr(std::string(apiKey).size() - 20) +
            R"("],"rejected":[]},"projects":{")" + project().string() +
            R"(":{"hasTrustDialogAccepted":true,"hasCompletedProjectOnboarding":true,)"
            R"("projectOnboardingSeenCount":5,"allowedTools":[]}}})";
        writeText(config() / ".claude.json", state);
        writeText(home() / ".claude.json", state);
        model_.emplace(
            std::vector<std::string>{"python3", OSTRELVAN_MOCK_MODEL_API, "--turns",
                                     logs() / "turns.json", "--port-file", logs() / "port", "--log",
                                     logs() / "requests.jsonl"},
            std::nullopt, Streams{"/dev/null", logs() / "model.out", logs() / "model.err"});
        if (!eventually([&] { return std::filesystem::exists(logs() / "port"); }))
            throw std::runtime_error("the stand-in model API did not start");
        port_ = readText(logs() / "port");
    }
    ~ClaudeCli() {
        if (started_) {
            if (pid_ > 0 && processRuns(pid_))
                ::kill(pid_, SIGKILL);
            tmux({"kill-server"});
        }
    }

    Path home() const { return temp_ / "home"; }
    Path config() const { return temp_ / "config"; }
    Path project() const { return temp_ / "project"; }
    Path logs() const { return temp_ / "logs"; }
    Path settingsFile() const { return config() / "settings.json"; }

    // The environment the CLI runs with; every connection outside loopback is refused.
    Variables environment() const {
        const std::string api = "http://127.0.0.1:" + port_;
        Variables variables{{"PATH", "/usr/local/bin:/usr/bin:/bin"},
                            {"HOME", home().string()},
                            {"CLAUDE_CONFIG_DIR", config().string()},
                            {"ANTHROPIC_BASE_URL", api},
                            {"ANTHROPIC_API_KEY", apiKey},
                            {"DISABLE_TELEMETRY", "1"},
                            {"CLAUDE_CODE_DISABLE_NONESSENTIAL_TRAFFIC", "1"},
                            {"DISABLE_AUTOUPDATER", "1"},
                            {"HTTPS_PROXY", api},
                            {"HTTP_PROXY", api},
                            {"NO_PROXY", "127.0.0.1,localhost"},
                            {"LANG", "C.UTF-8"},
                            {"TERM", "xterm-256color"}};
        for (const auto& [name, value] : extra_)
            variables[name] = value;
        return variables;
    }

    // Starts an interactive session in the project folder and waits until it takes input.
    // Without arguments, the classic permission dialog: the CLI's own default mode asks nothing
    // behind a custom API address.
    bool start(std::vector<std::string> arguments = {"--permission-mode", "default"}) {
        std::string script = "cd " + quoted(project().string()) + "\n";
        for (const auto& [name, value] : environment())
            script += "export " + name + "=" + quoted(value) + "\n";
        // The inner shell's pid becomes the CLI's; the outer one waits for it, so that a killed
        // CLI is reaped and the pane stays for a last look at the screen.
        script += "sh -c 'echo $$ > " + quoted((logs() / "cli.pid").string()) +
                  "; exec \"$0\" \"$@\"' " + quoted(OSTRELVAN_CLAUDE_CLI);
        for (const auto& argument : arguments)
            script += " " + quoted(argument);
        script += "\necho \"[cli exited $?]\"\nsleep 600\n";
        writeText(logs() / "launch.sh", script);
        started_ = true;
        tmux({"-f", "/dev/null", "new-session", "-d", "-s", "cli", "-x", "160", "-y", "50", "sh",
              (logs() / "launch.sh").string()});
        if (!eventually([&] { return !readText(logs() / "cli.pid").empty(); }))
            return false;
        pid_ = std::stoi(readText(logs() / "cli.pid"));
        return waitForScreen("? for shortcuts", 60s);
    }

    std::string screen() const { return tmux({"capture-pane", "-p", "-t", "cli"}); }

    bool waitForScreen(std::string_view text, std::chrono::milliseconds timeout = 30s) const {
        return eventually([&] { return screen().find(text) != std::string::npos; }, timeout);
    }

    // The permission dialog's question, as the CLI words it.
    static constexpr std::string_view permissionDialog = "Do you want to proceed?";

    // Presses `key` in the permission dialog until it goes: the dialog ignores keys for a moment
    // after it opens. False when it never showed or never went.
    bool answerPermissionDialog(const std::string& key) const {
        return waitForScreen(permissionDialog) && eventually([&] {
                   std::this_thread::sleep_for(1200ms);
                   if (screen().find(permissionDialog) == std::string::npos)
                       return true;
                   tmux({"send-keys", "-t", "cli", key});
                   return false;
               });
    }

    // Types a prompt and submits it. The pause lets the input box take the text as typed, not
    // as a paste.
    void submit(const std::string& text) const {
        tmux({"send-keys", "-t", "cli", "-l", text});
        std::this_thread::sleep_for(400ms);
        tmux({"send-keys", "-t", "cli", "Enter"});
    }

    // Runs `claude -p <prompt>` to its end (killed after `timeout`).
    Outcome print(const std::string& prompt, std::vector<std::string> arguments = {},
                  std::chrono::milliseconds timeout = 90s) const {
        std::vector<std::string> argv{
            "timeout", "-s",  "KILL", std::to_string(timeout.count() / 1000), OSTRELVAN_CLAUDE_CLI,
            "-p",      prompt};
        argv.insert(argv.end(), arguments.begin(), arguments.end());
        return run(argv, environment(), {}, project());
    }

private:
    static std::string quoted(const std::string& text) {
        std::string out = "'";
        for (char c : text)
            out += c == '\'' ? std::string("'\\''") : std::string(1, c);
        return out + "'";
    }

    std::string tmux(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"tmux", "-S", (temp_ / "tmux.sock").string()});
        return run(arguments, Variables{{"PATH", "/usr/bin:/bin"}, {"TERM", "xterm-256color"}}).out;
    }

    TempDir temp_;
    Variables extra_;
    std::optional<Process> model_;
    std::string port_;
    bool started_ = false;
    pid_t pid_ = 0;
};

} // namespace ostrelvan::test
