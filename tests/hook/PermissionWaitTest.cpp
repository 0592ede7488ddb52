// The real helper on PermissionRequest against a stand-in of the desktop app's socket.
#include "HookRunner.h"
#include "PermissionStandIn.h"
#include "core/DataPaths.h"
#include "core/PermissionMessage.h"
#include "core/SessionFileStore.h"

#include <gtest/gtest.h>

using namespace ostrelvan;
using namespace ostrelvan::test;
namespace fs = std::filesystem;

namespace {

const std::string suggestions =
    R"([{"type":"addRules","rules":[{"toolName":"Bash","ruleContent":"npm test *"}],)"
    R"("behavior":"allow","destination":"localSettings"}])";

std::string request(const std::string& session = "s1") {
    return payload("PermissionRequest", session,
                   R"(,"prompt_id":"p1","permission_mode":"default","tool_name":"Bash",)"
                   R"("tool_input":{"command":"npm test\nsecond line","description":"Run"},)"
                   R"("permission_suggestions":)" +
                       suggestions);
}

// Live processes in a process group, from /proc: what a signal to the group would reach.
int membersOf(pid_t group) {
    int count = 0;
    for (const auto& entry : fs::directory_iterator("/proc")) {
        if (entry.path().filename().string().find_first_not_of("0123456789") != std::string::npos)
            continue;
        const std::string stat = readText(entry.path() / "stat");
        const auto close = stat.rfind(')');
        char state = 0;
        int parent = 0, pgrp = 0;
        count += close != std::string::npos &&
                 std::sscanf(stat.c_str() + close + 1, " %c %d %d", &state, &parent, &pgrp) == 3 &&
                 pgrp == group && state != 'Z';
    }
    return count;
}

// The helper as Claude Code starts it: its own process group, the payload on standard input.
Process waitingHelper(const HookFixture& f, const std::string& input, const Variables& extra = {}) {
    writeText(f.temp / "in", input);
    fs::remove(f.temp / "out");
    return Process({OSTRELVAN_HOOK_PATH}, f.environment(extra), {f.temp / "in", f.temp / "out"}, {},
                   true);
}

bool exitsWithin(Process& helper, std::chrono::milliseconds timeout = 10s) {
    const std::optional<int> status = helper.waitFor(timeout);
    return status && WIFEXITED(*status) && WEXITSTATUS(*status) == 0;
}

} // namespace

TEST(PermissionWait, PrintsExactlyTheDecisionForItsOwnRequest) {
    const std::string printedDecision =
        R"({"hookSpecificOutput":{"hookEventName":"PermissionRequest","decision":{"behavior":)";
    const std::pair<std::string, std::string> cases[] = {
        {R"(,"behavior":"allow")", printedDecision + R"("allow"}}})"},
        {R"(,"behavior":"allow","addRule":true)",
         printedDecision + R"("allow","updatedPermissions":)" + suggestions + "}}}"},
        {R"(,"behavior":"deny")",
         printedDecision + R"("deny","message":"Denied from Ostrelvan"}}})"},
    };
    for (const auto& [decision, printed] : cases) {
        HookFixture f;
        PermissionStandIn app(DataPaths::permissionSocket(f.root()));
        Process helper = waitingHelper(f, request());
        TakenRequest offered = takeRequest(app);
        // Recorded before it was offered: the lamp does not wait for the app.
        auto state = SessionFileStore::read(f.sessions() / "s1.json");
        ASSERT_TRUE(state);
        EXPECT_EQ(state->status, SessionStatus::needsApproval);

        nlohmann::json expected = nlohmann::json::parse(
            R"({"type":"request","version":1,"sessionId":"s1","promptId":"p1","cwd":"/w/app",)"
            R"("toolName":"Bash","summary":"npm test"})"); // the summary is what the row shows
        expected["requestId"] = offered.requestId;
        expected["suggestions"] = nlohmann::json::parse(suggestions);
        EXPECT_EQ(offered.line, expected);
        EXPECT_TRUE(PermissionWire::isRequestId(offered.requestId));

        // Before the app accepts, even its own decision is not taken; after, a stale answer for
        // another request, a malformed line and an overlong one change nothing.
        const std::string other(32, 'e');
        ASSERT_TRUE(offered.peer.send(answerLine("decision", offered.requestId, decision) +
                                      answerLine("accepted", offered.requestId) +
                                      answerLine("decision", other, R"(,"behavior":"allow")") +
                                      answerLine("withdraw", other) + "{not json\n" +
                                      std::string(20000, ' ') + "\n"));
        EXPECT_FALSE(exitsWithin(helper, 300ms));
        // It waits without the session's lock: the session's next event is recorded meanwhile.
        const Outcome notification =
            f.run(payload("Notification", "s1", R"(,"notification_type":"permission_prompt")"));
        EXPECT_EQ(notification.code, 0);
        EXPECT_TRUE(SessionFileStore::read(f.sessions() / "s1.json"));
        ASSERT_TRUE(offered.peer.send(answerLine("decision", offered.requestId, decision)));
        ASSERT_TRUE(exitsWithin(helper));
        EXPECT_EQ(readText(f.temp / "out"), printed);
        EXPECT_TRUE(offered.peer.closedWithin());
        EXPECT_EQ(f.logged(), "Permission answer dropped: Message is not valid JSON\n"
                              "Permission answer dropped: longer than the limit\n");
    }
}

TEST(PermissionWait, EndsSilentlyWhenTheAnswerIsNotTheApps) {
    enum class End { withdraw, appCloses, declined, sigterm, timeout, noAnswer };
    for (End end : {End::withdraw, End::appCloses, End::declined, End::sigterm, End::timeout,
                    End::noAnswer}) {
        SCOPED_TRACE(static_cast<int>(end));
        HookFixture f;
        PermissionStandIn app(DataPaths::permissionSocket(f.root()));
        Process helper = waitingHelper(f, request(), {{"OSTRELVAN_PERMISSION_TIMEOUT", "3"}});
        TakenRequest offered = takeRequest(app);
        if (end != End::declined && end != End::noAnswer) {
            ASSERT_TRUE(offered.peer.send(answerLine("accepted", offered.requestId)));
        }
        switch (end) {
        case End::withdraw:
            offered.peer.send(answerLine("withdraw", offered.requestId));
            break;
        case End::appCloses:
            offered.peer.close();
            break;
        case End::declined:
            offered.peer.send(answerLine("declined", offered.requestId));
            break;
        case End::sigterm:
            EXPECT_FALSE(exitsWithin(helper, 200ms));
            // As Claude Code sends it: to the whole process group.
            ASSERT_EQ(::kill(-helper.pid(), SIGTERM), 0);
            break;
        case End::timeout:
        case End::noAnswer:
            // The app never answers: the helper gives up after 1 s unaccepted, or at its limit.
            EXPECT_FALSE(exitsWithin(helper, end == End::timeout ? 1000ms : 300ms));
            break;
        }
        ASSERT_TRUE(exitsWithin(helper));
        EXPECT_EQ(readText(f.temp / "out"), "");
        EXPECT_EQ(membersOf(helper.pid()), 0); // nothing left behind in its process group
        EXPECT_FALSE(fs::exists(f.root() / "hook.log"));
        if (end != End::appCloses) {
            EXPECT_TRUE(offered.peer.closedWithin());
        }
    }
}

TEST(PermissionWait, NeverHeldWithoutAnAppOrAUser) {
    HookFixture f;
    // The app quit without removing its socket: the connection is refused, and the helper records
    // and exits at once. With no socket at all, the real Claude Code CLI shows the same.
    fs::create_directories(f.root());
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, DataPaths::permissionSocket(f.root()).c_str());
    ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ::close(fd);
    const Outcome outcome = f.run(request("alone"));
    EXPECT_EQ(outcome.code, 0);
    EXPECT_EQ(outcome.out, "");
    auto state = SessionFileStore::read(f.sessions() / "alone.json");
    ASSERT_TRUE(state);
    EXPECT_EQ(state->status, SessionStatus::needsApproval);
    EXPECT_EQ(state->detail, "npm test");
    EXPECT_FALSE(fs::exists(f.root() / "hook.log"));
    fs::remove(DataPaths::permissionSocket(f.root()));

    // With the app listening: `claude -p` and SDK runs, and every other event, never connect.
    PermissionStandIn app(DataPaths::permissionSocket(f.root()));
    const std::pair<std::string, Variables> unattended[] = {
        {request(), {{"CLAUDE_CODE_SESSION_ATTENDED", "0"}}},
        {request(), {{"CLAUDE_CODE_ENTRYPOINT", "sdk-cli"}}},
        {request(), {{"CLAUDE_CODE_ENTRYPOINT", "sdk-ts"}, {"CLAUDE_CODE_SESSION_ATTENDED", "1"}}},
        {payload("PreToolUse", "s1", R"(,"tool_name":"Bash","tool_input":{"command":"ls"})"), {}},
        {payload("Notification", "s1", R"(,"notification_type":"permission_prompt")"), {}},
    };
    for (const auto& [input, variables] : unattended) {
        const Outcome outcome = f.run(input, variables);
        EXPECT_EQ(outcome.code, 0);
        EXPECT_EQ(outcome.out, "");
        EXPECT_FALSE(app.accept(0ms)) << input;
    }
}

// The helper runs as root here; a socket served by another user is not trusted with a request.
TEST(PermissionWait, RefusesASocketServedByAnotherUser) {
    if (::geteuid() != 0)
        GTEST_SKIP() << "needs root to serve a socket as another user";
    HookFixture f;
    TempDir shared;
    ::chmod(shared.path().c_str(), 0777);
    const Path foreign = shared / "foreign.sock";
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    const pid_t server = ::fork();
    if (server == 0) {
        if (::setgid(65534) != 0 || ::setuid(65534) != 0)
            ::_exit(1);
        PermissionStandIn foreignApp(foreign);
        // Takes one connection and reports whether a request arrived on it.
        [[maybe_unused]] ssize_t said = ::write(ready[1], "r", 1);
        std::optional<StandInPeer> peer = foreignApp.accept(30s);
        said = ::write(ready[1], peer && peer->readLine() ? "d" : "n", 1);
        ::_exit(0);
    }
    ::close(ready[1]);
    char signal = 0;
    ASSERT_EQ(::read(ready[0], &signal, 1), 1);
    ASSERT_EQ(signal, 'r');
    fs::create_directories(f.root());
    fs::create_symlink(foreign, DataPaths::permissionSocket(f.root()));

    const Outcome outcome = f.run(request());
    EXPECT_EQ(outcome.out, "");
    ASSERT_EQ(::read(ready[0], &signal, 1), 1);
    EXPECT_EQ(signal, 'n'); // connected, checked, and left without a word
    ::close(ready[0]);
    ::waitpid(server, nullptr, 0);
    EXPECT_EQ(f.logged(),
              "Permission socket served by user 65534, not this user: request not offered\n");
}
