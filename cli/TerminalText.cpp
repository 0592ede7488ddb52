#include "cli/TerminalText.h"

#include <locale.h>
#include <optional>
#include <wchar.h>

namespace ostrelvan::cli::TerminalText {

namespace {

constexpr char32_t replacement = 0xFFFD;

struct CodePoint {
    char32_t value = replacement;
    std::size_t length = 1;
    bool valid = false;
};

// One code point at `at`; an invalid, overlong or surrogate sequence is one invalid byte.
CodePoint decode(std::string_view text, std::size_t at) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(at);
    if (lead < 0x80) {
        return {lead, 1, true};
    }
    std::size_t length = 0;
    char32_t value = 0;
    char32_t least = 0;
    if ((lead & 0xE0) == 0xC0) {
        length = 2, value = lead & 0x1F, least = 0x80;
    } else if ((lead & 0xF0) == 0xE0) {
        length = 3, value = lead & 0x0F, least = 0x800;
    } else if ((lead & 0xF8) == 0xF0) {
        length = 4, value = lead & 0x07, least = 0x10000;
    } else {
        return {};
    }
    if (at + length > text.size()) {
        return {};
    }
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(at + i) & 0xC0) != 0x80) {
            return {};
        }
        value = (value << 6) | (byte(at + i) & 0x3F);
    }
    if (value < least || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF)) {
        return {};
    }
    return {value, length, true};
}

void encode(char32_t value, std::string& out) {
    if (value < 0x80) {
        out += static_cast<char>(value);
    } else if (value < 0x800) {
        out += static_cast<char>(0xC0 | (value >> 6));
        out += static_cast<char>(0x80 | (value & 0x3F));
    } else if (value < 0x10000) {
        out += static_cast<char>(0xE0 | (value >> 12));
        out += static_cast<char>(0x80 | ((value >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (value & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (value >> 18));
        out += static_cast<char>(0x80 | ((value >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((value >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (value & 0x3F));
    }
}

// wcwidth answers by the locale's character type, and a user's locale may be "C": measuring
// always happens in a UTF-8 locale, whatever this process was started with.
locale_t utf8Locale() {
    static const locale_t locale = [] {
        for (const char* name : {"C.UTF-8", "C.utf8", "en_US.UTF-8", "UTF-8"}) {
            if (const locale_t found = newlocale(LC_CTYPE_MASK, name, locale_t{})) {
                return found;
            }
        }
        return locale_t{};
    }();
    return locale;
}

// Columns of one code point; negative for one the terminal has no width for.
int cellWidth(char32_t value) {
    if (value < 0x80) {
        return value >= 0x20 && value < 0x7F ? 1 : -1;
    }
    const locale_t locale = utf8Locale();
    const locale_t previous = locale ? uselocale(locale) : locale_t{};
    const int result = wcwidth(static_cast<wchar_t>(value));
    if (previous) {
        uselocale(previous);
    }
    return result;
}

bool isSpacing(char32_t value) {
    return value == '\t' || value == '\n' || value == '\r' || value == '\v' || value == '\f' ||
           value == 0x2028 || value == 0x2029;
}

// Embeddings, overrides and isolates reorder what follows them on the line.
bool isDirectionControl(char32_t value) {
    return (value >= 0x202A && value <= 0x202E) || (value >= 0x2066 && value <= 0x2069);
}

// Columns a code point takes; an invalid byte shows as one replacement character.
std::size_t columnsOf(const CodePoint& point) {
    const int w = point.valid ? cellWidth(point.value) : 1;
    return w > 0 ? static_cast<std::size_t>(w) : 0;
}

} // namespace

std::size_t columns(std::string_view text) {
    std::size_t total = 0;
    for (std::size_t at = 0; at < text.size();) {
        const CodePoint point = decode(text, at);
        total += columnsOf(point);
        at += point.length;
    }
    return total;
}

std::string truncated(std::string_view text, std::size_t width) {
    if (columns(text) <= width) {
        return std::string(text);
    }
    if (width == 0) {
        return {};
    }
    std::size_t used = 0;
    std::size_t end = 0;
    while (end < text.size()) {
        const CodePoint point = decode(text, end);
        const std::size_t taken = columnsOf(point);
        if (used + taken > width - 1) {
            break;
        }
        used += taken;
        end += point.length;
    }
    return std::string(text.substr(0, end)) + "…";
}

std::string padded(std::string_view text, std::size_t width) {
    const auto used = columns(text);
    std::string out(text);
    if (used < width) {
        out.append(width - used, ' ');
    }
    return out;
}

std::string sanitized(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const CodePoint point = decode(text, at);
        if (point.valid && isSpacing(point.value)) {
            out += ' ';
        } else if (!point.valid || isDirectionControl(point.value) || cellWidth(point.value) < 0) {
            encode(replacement, out);
        } else {
            out.append(text.substr(at, point.length));
        }
        at += point.length;
    }
    return out;
}

std::vector<std::string> wrapped(std::string_view text, std::size_t width) {
    std::vector<std::string> lines(1);
    if (width == 0) {
        lines.front() = std::string(text);
        return lines;
    }
    std::size_t used = 0;
    const auto add = [&](std::string_view piece, std::size_t pieceWidth) {
        if (used > 0 && used + 1 + pieceWidth <= width) {
            lines.back() += ' ';
            lines.back() += piece;
            used += 1 + pieceWidth;
            return;
        }
        if (used > 0) {
            lines.emplace_back();
        }
        lines.back() = std::string(piece);
        used = pieceWidth;
    };
    for (std::size_t at = 0; at <= text.size();) {
        const auto space = text.find(' ', at);
        const auto end = space == std::string_view::npos ? text.size() : space;
        std::string_view word = text.substr(at, end - at);
        at = end + 1;
        // A word wider than a line (a long path) is broken, not shortened: all of it matters.
        while (!word.empty()) {
            std::size_t cut = 0;
            std::size_t cutWidth = 0;
            while (cut < word.size()) {
                const CodePoint point = decode(word, cut);
                const std::size_t taken = columnsOf(point);
                if (cutWidth + taken > width && cut > 0) {
                    break;
                }
                cutWidth += taken;
                cut += point.length;
            }
            add(word.substr(0, cut), cutWidth);
            word.remove_prefix(cut);
        }
    }
    return lines;
}

} // namespace ostrelvan::cli::TerminalText
