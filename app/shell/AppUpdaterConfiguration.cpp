#include "app/shell/AppUpdaterConfiguration.h"

#include <QUrl>
#include <charconv>

namespace ostrelvan::AppUpdaterConfiguration {

namespace {

std::string_view trimmed(std::string_view text, std::string_view blanks) {
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

constexpr std::string_view spaces = " \t";
constexpr std::string_view spacesAndNewlines = " \t\n\r\v\f";

std::optional<std::string_view> lookup(const BundleInfo& info, std::string_view key) {
    const auto found = info.find(key);
    if (found == info.end()) {
        return std::nullopt;
    }
    return found->second;
}

} // namespace

std::optional<std::string> webURL(std::string_view text) {
    const std::string candidate(trimmed(text, spaces));
    const QUrl url(QString::fromStdString(candidate), QUrl::StrictMode);
    const QString scheme = url.scheme().toLower();
    if (!url.isValid() || (scheme != QLatin1String("https") && scheme != QLatin1String("http")) ||
        url.host().isEmpty()) {
        return std::nullopt;
    }
    return candidate;
}

std::optional<std::string> publicKey(const BundleInfo& info) {
    const auto value = lookup(info, "SUPublicEDKey");
    if (!value) {
        return std::nullopt;
    }
    const std::string_view key = trimmed(*value, spacesAndNewlines);
    if (key.empty() || key == "REPLACE_ME" || key.starts_with("$(")) {
        return std::nullopt;
    }
    return std::string(key);
}

std::optional<long long> buildNumber(const BundleInfo& info) {
    const auto value = lookup(info, "CFBundleVersion");
    if (!value) {
        return std::nullopt;
    }
    std::string_view digits = trimmed(*value, spaces);
    if (digits.starts_with('+')) {
        digits.remove_prefix(1);
    }
    long long number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
    if (digits.empty() || error != std::errc() || end != digits.data() + digits.size()) {
        return std::nullopt;
    }
    return number;
}

bool isConfigured(const BundleInfo& info, const Environment&) {
    const auto feed = lookup(info, "SUFeedURL");
    const auto build = buildNumber(info);
    return feed && webURL(*feed) && publicKey(info) && build && *build != 1;
}

std::string versionLine(const BundleInfo& info) {
    const auto shortVersion = lookup(info, "CFBundleShortVersionString");
    std::string line = "Version ";
    line += shortVersion && !shortVersion->empty() ? std::string(*shortVersion) : "?";
    if (const auto build = buildNumber(info)) {
        line += " (" + std::to_string(*build) + ")";
    }
    return line;
}

} // namespace ostrelvan::AppUpdaterConfiguration
