// Any bytes in a session file: decoding either fails with SessionCodingError or gives a state
// that writes and reads back unchanged.
#include "core/SessionCoding.h"

#include <cstdint>
#include <cstdlib>

using namespace ostrelvan;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes{reinterpret_cast<const char*>(data), size};
    if (auto date = SessionCoding::parseDate(bytes))
        if (SessionCoding::parseDate(SessionCoding::formatDate(*date)) != date)
            std::abort();
    SessionState state;
    try {
        state = SessionCoding::decode(bytes);
    } catch (const SessionCodingError&) {
        return 0;
    }
    const std::string text = SessionCoding::encode(state);
    SessionState again = SessionCoding::decode(text);
    if (SessionCoding::encode(again) != text)
        std::abort();
    return 0;
}
