#include "ops/filters/option_names.h"

namespace miravex {

int interpolationFlagFromName(std::string name)
{
    return valueOf(interpolationMethods, name, unknownInterpolation);
}

int borderTypeFromName(std::string name) { return valueOf(paddingMethods, name, unknownPadding); }

} // namespace miravex
