#include "abi/export.h"

#include "abi/messages.h"

#include <stdexcept>
#include <string>

namespace miravex {

HostErrorCode refuseArgumentCount(int64_t given, const char* expected) noexcept
{
    try {
        // Nobody reads this: it exists for the eye that looks on with a debugger. Throwing it only to catch
        // it here would make a refusal ten times as slow.
        const std::runtime_error message(messages::invalidArgumentCount + std::to_string(given)
                                         + messages::expectedCount + expected);
        static_cast<void>(message);
    } catch (...) { // out of memory: the status says enough
    }
    return StatusFunctionError;
}

} // namespace miravex
