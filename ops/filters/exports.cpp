#include "abi/export.h"
#include "ops/filters/operations.h"

using namespace miravex;

#define MIRAVEX_OPERATION(Name, function, ...) MIRAVEX_EXPORT(Name, function)
#include "ops/filters/operations.def"
