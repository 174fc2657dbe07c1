#pragma once

#include <string>

namespace miravex::messages {

/// Texts built once when the library is loaded. The first two make up the message of a wrong argument count;
/// the others are kept for hosts that look them up in a debugger and are read by no code.
extern const std::string invalidArgumentCount;
extern const std::string expectedCount;
extern const std::string expected2D;
extern const std::string expected3D;
extern const std::string internalError;

} // namespace miravex::messages
