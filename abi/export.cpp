#include "abi/export.h"

#include "abi/messages.h"

#include <stdexcept>
#include <string>

namespace miravex {

HostErrorCode refuseArgumentCount(int64_t given, const char* expected) noexcept
{
    try {
        // Built for whoever looks on with a debugger, and dropped: hosts see the status alone. Throwing it
        // only to catch it here would make a refusal ten times as slow.
        const std::runtime_error message(messages::invalidArgumentCount + std::to_string(given)
                                         + messages::expectedCount + expected);
        static_cast<void>(message);
    } catch (...) { // out of memory: the status says enough
    }
    return StatusFunctionError;
}

} // namespace miravex
