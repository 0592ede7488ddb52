// Any bytes from the other end of the permission socket: the line reader never holds an overlong
// line, every line decodes or fails with PermissionMessageError, and a decoded message encodes to
// a line within the limit that decodes to itself.
#include "core/PermissionMessage.h"

#include <cstdint>
#include <cstdlib>

using namespace ostrelvan;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes{reinterpret_cast<const char*>(data), size};
    PermissionWire::LineReader reader;
    // Fed in uneven pieces, as reads return them.
    for (std::size_t at = 0, piece = 1; at < bytes.size(); at += piece, piece = piece * 3 % 4097)
        reader.feed(bytes.substr(at, piece));
    while (auto line = reader.next()) {
        if (line->text.size() + 1 > PermissionMessage::maxLine)
            std::abort();
        if (line->tooLong)
            continue;
        try {
            const PermissionMessage message = PermissionMessage::decode(line->text);
            std::string encoded;
            try {
                encoded = message.encode();
            } catch (const PermissionMessageError&) {
                // Only a request can grow past the limit (its text re-escaped).
                if (message.type != PermissionMessage::Type::request)
                    std::abort();
                continue;
            }
            if (encoded.size() > PermissionMessage::maxLine || encoded.back() != '\n')
                std::abort();
            PermissionMessage again = PermissionMessage::decode(encoded);
            if (again.encode() != encoded)
                std::abort();
        } catch (const PermissionMessageError&) {
        }
    }
    return 0;
}
