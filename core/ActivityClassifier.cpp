#include "ActivityClassifier.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <array>
#include <cstdio>
#include <cstdlib>
#include <pcre2.h>

namespace ostrelvan::ActivityClassifier {

const char* const testPattern =
    R"((?:^|[\s;&|(])(?:(?:npm|pnpm|yarn|bun)\s+(?:run\s+)?test\b|(?:make|swift|cargo|go|deno|flutter|mix|dotnet)\s+test\b|xcodebuild\b[^;&|\n]*\stest\b|(?:npx\s+)?(?:jest|vitest|pytest|phpunit|rspec|mocha)\b|playwright\s+test\b))";

namespace {

// Compiled once per process; matching never recurses on the machine stack.
struct Pattern {
    pcre2_code* code = nullptr;
    bool jit = false;

    Pattern() {
        int error = 0;
        PCRE2_SIZE offset = 0;
        code = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(testPattern), PCRE2_ZERO_TERMINATED,
                             PCRE2_CASELESS, &error, &offset, nullptr);
        if (!code) {
            std::fputs("ostrelvan: the test-command pattern does not compile\n", stderr);
            std::abort();
        }
        jit = pcre2_jit_compile(code, PCRE2_JIT_COMPLETE) == 0;
    }
};

const Pattern& pattern() {
    static const Pattern instance;
    return instance;
}

// Per thread: a JIT stack must not be shared between concurrent matches.
struct Matcher {
    pcre2_match_data* data = nullptr;
    pcre2_match_context* context = nullptr;
    pcre2_jit_stack* stack = nullptr;

    explicit Matcher(const Pattern& p) {
        data = pcre2_match_data_create_from_pattern(p.code, nullptr);
        context = pcre2_match_context_create(nullptr);
        if (p.jit) {
            stack = pcre2_jit_stack_create(32 * 1024, 512 * 1024, nullptr);
            pcre2_jit_stack_assign(context, nullptr, stack);
        }
        // Bounds for the interpreter, used when JIT is unavailable.
        pcre2_set_depth_limit(context, 10000);
        pcre2_set_heap_limit(context, 8192);
    }
    ~Matcher() {
        pcre2_jit_stack_free(stack);
        pcre2_match_context_free(context);
        pcre2_match_data_free(data);
    }
    Matcher(const Matcher&) = delete;
    Matcher& operator=(const Matcher&) = delete;
};

bool isOneOf(std::string_view name, std::initializer_list<std::string_view> names) {
    for (std::string_view candidate : names)
        if (name == candidate)
            return true;
    return false;
}

} // namespace

bool isTestCommand(std::string_view command) {
    const Pattern& p = pattern();
    thread_local Matcher matcher(p);
    const char* subject = command.data() ? command.data() : "";
    int result = pcre2_match(p.code, reinterpret_cast<PCRE2_SPTR>(subject), command.size(), 0, 0,
                             matcher.data, matcher.context);
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
