#include "desktop/DesignPreview.h"

#include <algorithm>
#include <array>
#include <optional>

namespace ostrelvan {

namespace {

using S = SessionStatus;
using A = SessionActivity;

// 14 March 2025, 09:41 UTC.
const TimePoint previewEpoch{std::chrono::sys_days{std::chrono::year{2025} / 3 / 14} +
                             std::chrono::hours{9} + std::chrono::minutes{41}};

struct Demo {
    std::string id;
    std::string project;
    std::optional<std::string> title;
    SessionHost host = SessionHost::terminal;
    S status = S::idle;
    A activity = A::thinking;
    std::optional<std::string> detail = {};
    std::optional<std::string> tool = {};
    double minutesAgo = 1;
};

DisplayedSession displayed(const Demo& demo, std::int32_t pid) {
    const TimePoint since = addSeconds(previewEpoch, -60 * demo.minutesAgo);
    auto state = SessionState::make(
        demo.id, "/home/dev/src/" + demo.project, demo.host,
        demo.host == SessionHost::terminal ? std::optional<std::string>("kitty") : std::nullopt,
        pid, since);
    state.title = demo.title;
    state.status = demo.status;
    state.activity = demo.activity;
    state.detail = demo.detail;
    state.tool = demo.tool;
    state.startedConversation = true;
    return {state, demo.status, demo.title.value_or(demo.project)};
}

SessionGroup group(const std::string& id, const std::vector<Demo>& demos, std::int32_t& pid) {
    SessionGroup result{id, demos.front().project, {}};
    for (const auto& demo : demos)
        result.sessions.push_back(displayed(demo, ++pid));
    return result;
}

std::vector<SessionGroup> demoSessions() {
    std::int32_t pid = 41000;
    return {
        group("window-4100",
              {{"demo-checkout",
                "shop",
                "Checkout flow",
                SessionHost::terminal,
                S::working,
                A::runningTests,
                {},
                "Bash",
                3},
               {"demo-payments", "shop", "Payment retries", SessionHost::terminal, S::needsApproval,
                A::runningCommands, "npm run migrate", "Bash", 1}},
              pid),
        group("session-demo-limiter",
              {{"demo-limiter",
                "api",
                "Rate limiter",
                SessionHost::vscode,
                S::awaitingReview,
                A::coding,
                {},
                "Edit",
                12}},
              pid),
        group("session-demo-docs",
              {{"demo-docs",
                "docs",
                {},
                SessionHost::terminal,
                S::idle,
                A::readingCode,
                {},
                {},
                124}},
              pid),
        group("window-4200",
              {{"demo-terraform",
                "infra",
                "Terraform plan",
                SessionHost::terminal,
                S::working,
                A::coding,
                {},
                "Edit",
                8},
               {"demo-logs",
                "infra",
                "Log rotation",
                SessionHost::terminal,
                S::idle,
                A::runningCommands,
                {},
                {},
                41}},
              pid),
    };
}

std::vector<SessionGroup> manySessions() {
    static constexpr std::array sizes{1, 3, 1, 1, 2, 1, 1, 1, 4, 1, 1,
                                      2, 1, 1, 1, 1, 3, 1, 1, 1, 1};
    static constexpr std::array projects{
        "shop",     "api",     "docs",      "infra",   "mobile", "billing", "search",
        "auth",     "website", "pipeline",  "notify",  "cli",    "design",  "analytics",
        "payments", "gateway", "scheduler", "reports", "chat",   "maps",    "ledger"};
    static constexpr std::array tasks{
        "Fix flaky login test", "Add CSV export",      "Upgrade dependencies", "Refactor the cache",
        "Write a migration",    "Speed up cold start", "Triage crash reports", "Document the API",
        "Tidy error messages",  "Port to the new SDK", "Review pull request"};
    static constexpr std::array statuses{
        S::working, S::idle,          S::idle, S::awaitingReview, S::idle,
        S::working, S::needsApproval, S::idle, S::idle,           S::working};
    static constexpr std::array activities{A::thinking,    A::runningTests, A::coding,
                                           A::readingCode, A::researching,  A::runningAgents};
    std::vector<SessionGroup> groups;
    std::int32_t pid = 52000;
    std::size_t n = 0;
    for (std::size_t g = 0; g < sizes.size(); ++g) {
        const std::string project = projects[g];
        std::vector<Demo> demos;
        for (int k = 0; k < sizes[g]; ++k, ++n) {
            Demo demo{"many-" + std::to_string(n), project, {}};
            if (sizes[g] > 1)
                demo.title = tasks[n % tasks.size()];
            demo.status = statuses[n % statuses.size()];
            demo.activity = activities[n % activities.size()];
            demo.host = n % 4 == 1 ? SessionHost::vscode : SessionHost::terminal;
            if (demo.status == S::needsApproval)
                demo.detail = "cargo test";
            demo.minutesAgo = double(3 + (n * 7) % 90);
            demos.push_back(std::move(demo));
        }
        groups.push_back(group(sizes[g] > 1 ? "window-" + std::to_string(5000 + g)
                                            : "session-" + demos.front().id,
                               demos, pid));
    }
    return groups;
}

// One scripted change: a session moves on to a status. The script ends where it began.
struct Change {
    const char* id;
    S status;
    A activity;
    const char* detail = nullptr;
    const char* tool = nullptr;
};

const std::array script{
    Change{"demo-payments", S::working, A::runningCommands},
    Change{"demo-docs", S::working, A::thinking},
    Change{"demo-checkout", S::awaitingReview, A::runningTests},
    Change{"demo-docs", S::needsApproval, A::thinking, "Which locale first?", "AskUserQuestion"},
    Change{"demo-payments", S::needsApproval, A::runningCommands, "npm run migrate", "Bash"},
    Change{"demo-docs", S::idle, A::readingCode},
    Change{"demo-checkout", S::working, A::runningTests, nullptr, "Bash"},
};

bool hasSessions(std::string_view target) {
    return target != "empty" && target != "empty-connected";
}

} // namespace

const std::vector<std::string>& DesignPreview::targets() {
    static const std::vector<std::string> names{"widget", "expanded", "empty", "empty-connected",
                                                "many",   "light",    "dark"};
    return names;
}

bool DesignPreview::isTarget(std::string_view target) {
    const auto& names = targets();
    return std::find(names.begin(), names.end(), target) != names.end();
}

DesignPreview::DesignPreview(std::string target, WidgetFeed& feed, QObject* parent)
    : QObject(parent), target_(std::move(target)), feed_(feed) {
    sinceStart_.start();
    feed_.setClock(
        [this] { return previewEpoch + std::chrono::milliseconds(sinceStart_.elapsed()); });
    feed_.setConnected(target_ != "empty");
    if (target_ == "many")
        feed_.setGroups(manySessions());
    else if (hasSessions(target_))
        feed_.setGroups(demoSessions());
    else
        feed_.setGroups({});
    script_.setInterval(changeIntervalMs);
    connect(&script_, &QTimer::timeout, this, &DesignPreview::step);
}

WidgetLook DesignPreview::look(WidgetLook base) const {
    if (target_ == "light")
        base.dark = false;
    else if (target_ == "dark")
        base.dark = true;
    return base;
}

bool DesignPreview::opensExpanded() const {
    return target_ == "expanded";
}

void DesignPreview::play() {
    if (hasSessions(target_) && target_ != "many")
        script_.start();
}

void DesignPreview::step() {
    const Change& change = script[nextChange_];
    nextChange_ = (nextChange_ + 1) % script.size();
    auto groups = feed_.groups();
    for (auto& group : groups)
        for (auto& session : group.sessions) {
            if (session.id() != change.id)
                continue;
            auto& state = session.state;
            state.status = change.status;
            state.activity = change.activity;
            state.detail = change.detail ? std::optional<std::string>(change.detail) : std::nullopt;
            state.tool = change.tool ? std::optional<std::string>(change.tool) : std::nullopt;
            state.statusSince = feed_.now();
            state.lastEvent = state.statusSince;
            session.status = change.status;
        }
    feed_.setGroups(std::move(groups));
}

} // namespace ostrelvan
