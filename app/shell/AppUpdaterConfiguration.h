#pragma once

#include "app/platform/BundleInfo.h"
#include "base/Environment.h"

#include <optional>
#include <string>
#include <string_view>

// Whether the app's information dictionary sets up updates: a web feed, a real signing key and a
// build number other than 1 (which marks an unversioned development build). Pure, so it is
// tested on every platform although only macOS has an updater.
namespace ostrelvan::AppUpdaterConfiguration {

// The text trimmed of spaces and tabs, when it is an http or https address with a host.
std::optional<std::string> webURL(std::string_view text);

// "SUPublicEDKey" trimmed, unless empty, the placeholder "REPLACE_ME" or an unexpanded build
// variable ("$(…").
std::optional<std::string> publicKey(const BundleInfo& info);

// "CFBundleVersion" trimmed and read as a decimal integer.
std::optional<long long> buildNumber(const BundleInfo& info);

// The environment is accepted and not consulted.
bool isConfigured(const BundleInfo& info, const Environment& environment);

// "Version 1.4 (37)", "Version 1.4" without a build number, "Version ?" without a short version.
std::string versionLine(const BundleInfo& info);

} // namespace ostrelvan::AppUpdaterConfiguration
