#include "core/HookLogLine.h"

#include "core/SessionCoding.h"

namespace ostrelvan::HookLogLine {

std::string format(TimePoint at, std::string_view message) {
    std::string line = SessionCoding::formatDate(at);
    line += ' ';
    for (char c : message.substr(0, maxMessage))
        line += static_cast<unsigned char>(c) < 0x20 ? ' ' : c;
    if (message.size() > maxMessage)
        line += "...";
    line += '\n';
    return line;
}

std::optional<TimePoint> timeOf(std::string_view line) {
    return SessionCoding::parseDate(line.substr(0, line.find(' ')));
}

} // namespace ostrelvan::HookLogLine
