#include "ops/filters/named_methods.h"

namespace miravex {

int interpolationFlagFromName(std::string name)
{
    return valueOf(interpolationMethods, name, unknownInterpolation);
}

int borderTypeFromName(std::string name) { return valueOf(paddingMethods, name, unknownPadding); }

} // namespace miravex
