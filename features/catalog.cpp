#include "host/catalog.h"

namespace miravex {

std::span<const Operation> featuresCatalog() { return {}; }

} // namespace miravex
