// Any bytes on the helper's standard input: decoding either fails cleanly or gives an event that
// the reducer folds into a state whose file form reads back to itself.
#include "HookEvent.h"
#include "SessionCoding.h"
#include "SessionReducer.h"

#include <cstdint>
#include <cstdlib>

using namespace ostrelvan;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    HookEvent event;
    try {
        event = HookEvent::decode({reinterpret_cast<const char*>(data), size});
    } catch (const HookEventDecodeError&) {
        return 0;
    }
    const EventContext context{TimePoint{std::chrono::seconds{1'741'944'413}},
                               SessionHost::terminal, "term", 1};
    ReduceOutcome first = SessionReducer::reduce(std::nullopt, event, context);
    if (first.kind != ReduceOutcome::Kind::write)
        return 0;
    ReduceOutcome second = SessionReducer::reduce(first.state, event, context);
    // Encoding replaces invalid UTF-8, so compare the file forms, not the states.
    const std::string text = SessionCoding::encode(*second.state);
    if (SessionCoding::encode(SessionCoding::decode(text)) != text)
        std::abort();
    return 0;
}
