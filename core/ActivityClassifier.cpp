#include "core/ActivityClassifier.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <array>
#include <cstdio>
#include <cstdlib>
#include <pcre2.h>

namespace ostrelvan::ActivityClassifier {

const char* const testPattern =
    R"((?:^|[\s;&|(])(?:(?:npm|pnpm|yarn|bun)\s+(?:run\s+)?test\b|(?:make|swift|cargo|go|deno|flutter|mix|dotnet)\s+test\b|xcodebuild\b[^;&|\n]*\stest\b|(?:npx\s+)?(?:jest|vitest|pytest|phpunit|rspec|mocha)\b|playwright\s+test\b))";

namespace {

// JIT compiling costs a hook process more (about 0.2 ms) than interpreting a typical command, so
// the interpreter takes short commands and a JIT-compiled twin, built once on first need, takes
// long ones. Neither recurses on the machine stack: the interpreter keeps its backtracking on the
// heap (bounded below) and the JIT uses its own bounded stack.
constexpr std::size_t jitFrom = 8192;

struct Compiled {
    pcre2_code* code = nullptr;
    bool jit = false;

    explicit Compiled(bool withJit) {
        int error = 0;
        PCRE2_SIZE offset = 0;
        code = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(testPattern), PCRE2_ZERO_TERMINATED,
                             PCRE2_CASELESS, &error, &offset, nullptr);
        if (!code) {
            std::fputs("ostrelvan: the test-command pattern does not compile\n", stderr);
            std::abort();
        }
        jit = withJit && pcre2_jit_compile(code, PCRE2_JIT_COMPLETE) == 0;
    }
};

const Compiled& interpreted() {
    static const Compiled instance(false);
    return instance;
}

const Compiled& jitCompiled() {
    static const Compiled instance(true);
    return instance;
}

// Per thread: match data and a JIT stack must not be shared between concurrent matches.
struct Matcher {
    pcre2_match_data* data = nullptr;
    pcre2_match_context* context = nullptr;
    pcre2_jit_stack* stack = nullptr;

    Matcher() {
        data = pcre2_match_data_create_from_pattern(interpreted().code, nullptr);
        context = pcre2_match_context_create(nullptr);
        pcre2_set_depth_limit(context, 10000);
        pcre2_set_heap_limit(context, 8192); // KiB
    }
    ~Matcher() {
        pcre2_jit_stack_free(stack);
        pcre2_match_context_free(context);
        pcre2_match_data_free(data);
    }
    Matcher(const Matcher&) = delete;
    Matcher& operator=(const Matcher&) = delete;

    const Compiled& forLength(std::size_t length) {
        if (length < jitFrom || !jitCompiled().jit)
            return interpreted();
        if (!stack) {
            stack =
                pcre2_jit_stack_create(std::size_t{32} * 1024, std::size_t{512} * 1024, nullptr);
            pcre2_jit_stack_assign(context, nullptr, stack);
        }
        return jitCompiled();
    }
};

bool isOneOf(std::string_view name, std::initializer_list<std::string_view> names) {
    for (std::string_view candidate : names)
        if (name == candidate)
            return true;
    return false;
}

} // namespace

bool isTestCommand(std::string_view command) {
    thread_local Matcher matcher;
    const Compiled& compiled = matcher.forLength(command.size());
    const char* subject = command.data() ? command.data() : "";
    int result = pcre2_match(compiled.code, reinterpret_cast<PCRE2_SPTR>(subject), command.size(),
                             0, 0, matcher.data, matcher.context);
    // Errors (such as a hit resource limit) count as no match.
    return result >= 0;
}

SessionActivity activity(std::string_view toolName, std::optional<std::string_view> command) {
    if (isOneOf(toolName, {"Bash", "BashOutput"}))
        return command && isTestCommand(*command) ? SessionActivity::runningTests
                                                  : SessionActivity::runningCommands;
    if (isOneOf(toolName, {"Edit", "Write", "MultiEdit", "NotebookEdit"}))
        return SessionActivity::coding;
    if (isOneOf(toolName, {"Read", "Grep", "Glob", "LS"}))
        return SessionActivity::readingCode;
    if (isOneOf(toolName, {"WebSearch", "WebFetch"}))
        return SessionActivity::researching;
    if (isOneOf(toolName, {"Task", "Agent"}))
        return SessionActivity::runningAgents;
    if (toolName.starts_with("mcp__"))
        return SessionActivity::usingTools;
    return SessionActivity::working;
}

} // namespace ostrelvan::ActivityClassifier
