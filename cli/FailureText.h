#pragma once

#include <exception>
#include <string>
#include <system_error>

namespace ostrelvan::cli {

// Failures as the user reads them: what could not be done to which file, and why in plain words
// ("a file stands where a folder must be"), not the C library's terse text.
namespace FailureText {

// The reason behind a system error number, in words.
std::string reason(std::error_code error);

// The whole message of a caught failure; file-system failures are told in words, others as
// they are.
std::string inWords(const std::exception& failure);

} // namespace FailureText
} // namespace ostrelvan::cli
