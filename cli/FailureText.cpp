#include "cli/FailureText.h"

#include <cctype>
#include <cerrno>
#include <filesystem>
#include <map>
#include <string_view>

namespace ostrelvan::cli::FailureText {

namespace {

// The operation a file-system error names: libstdc++ says "cannot create directories", libc++
// says "in create_directories".
std::string operation(std::string_view what) {
    constexpr std::string_view prefix = "filesystem error: ";
    if (what.starts_with(prefix)) {
        what.remove_prefix(prefix.size());
    }
    what = what.substr(0, what.find(": "));
    static const std::map<std::string_view, std::string_view> plain{
        {"cannot create directories", "cannot create"},
        {"cannot create directory", "cannot create"},
        {"in create_directories", "cannot create"},
        {"in create_directory", "cannot create"},
        {"cannot copy file", "cannot copy"},
        {"in copy_file", "cannot copy"},
        {"in rename", "cannot rename"},
        {"in remove", "cannot remove"},
        {"in permissions", "cannot set the permissions of"},
        {"cannot set permissions", "cannot set the permissions of"},
    };
    if (const auto it = plain.find(what); it != plain.end()) {
        return std::string(it->second);
    }
    return what.starts_with("cannot ") ? std::string(what) : "cannot use";
}

} // namespace

std::string reason(std::error_code error) {
    if (error.category() != std::generic_category() && error.category() != std::system_category()) {
        return error.message();
    }
    switch (error.value()) {
    case ENOTDIR:
        return "a file stands where a folder must be";
    case EISDIR:
        return "a folder stands where a file must be";
    case EEXIST:
        return "something already stands there";
    case ENOENT:
        return "a folder on the way does not exist";
    case EACCES:
    case EPERM:
        return "you do not have permission";
    case EROFS:
        return "the disk is read-only";
    case ENOSPC:
        return "the disk is full";
#ifdef EDQUOT
    case EDQUOT:
        return "your disk quota is used up";
#endif
    case ELOOP:
        return "its symbolic links go round in a loop";
    case ENAMETOOLONG:
        return "the path is too long";
    case EBUSY:
    case ETXTBSY:
        return "the file is in use";
    case EIO:
        return "the disk reported a read or write error";
    case EXDEV:
        return "it lies on another disk";
    default:
        return error.message();
    }
}

std::string inWords(const std::exception& failure) {
    if (const auto* error = dynamic_cast<const std::filesystem::filesystem_error*>(&failure)) {
        std::string text = operation(error->what());
        const std::string action = text;
        // Appended piece by piece: GCC 12 takes " " + a string for an overlapping copy at -O2.
        if (!error->path1().empty()) {
            text.append(" ").append(error->path1().string());
        }
        if (!error->path2().empty()) {
            text.append(" to ").append(error->path2().string());
        }
        // Creating folders through a file reports that something exists there.
        std::error_code code = error->code();
        std::error_code ignored;
        if (code == std::errc::file_exists && action == "cannot create" &&
            std::filesystem::exists(error->path1(), ignored) &&
            !std::filesystem::is_directory(error->path1(), ignored)) {
            code = std::make_error_code(std::errc::not_a_directory);
        }
        text += ": " + reason(code);
        text.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(text.front())));
        return text;
    }
    if (const auto* error = dynamic_cast<const std::system_error*>(&failure)) {
        // "<what went wrong>: <library text>"; the library's part is told again in words.
        std::string text = error->what();
        const std::string library = error->code().message();
        if (text.ends_with(": " + library)) {
            text.resize(text.size() - library.size());
            return text + reason(error->code());
        }
        return text;
    }
    return failure.what();
}

} // namespace ostrelvan::cli::FailureText
