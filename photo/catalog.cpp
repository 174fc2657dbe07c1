#include "host/catalog.h"

namespace miravex {

std::span<const Operation> photoCatalog() { return {}; }

} // namespace miravex
