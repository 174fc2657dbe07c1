#include "abi/messages.h"

namespace miravex::messages {

const std::string invalidArgumentCount = "Invalid arg number: Gave ";
const std::string expectedCount = "; Expected ";
const std::string expected2D = "Expected a 2D image instead of a 3D image";
const std::string expected3D = "Expected a 3D image instead of a 2D image";
const std::string internalError = "Internal error in Miravex tovrin";

} // namespace miravex::messages
