#include "host/catalog.h"

namespace miravex {

std::span<const Operation> importopsCatalog() { return {}; }

} // namespace miravex
