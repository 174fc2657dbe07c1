#include "abi/export.h"
#include "ops/features/operations.h"

using namespace miravex;

#define MIRAVEX_OPERATION(Name, function, ...) MIRAVEX_EXPORT(Name, function)
#include "ops/features/operations.def"
