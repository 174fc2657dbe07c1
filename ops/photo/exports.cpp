#include "abi/export.h"
#include "ops/photo/operations.h"

using namespace miravex;

#define MIRAVEX_OPERATION(Name, function, ...) MIRAVEX_EXPORT(Name, function)
#include "ops/photo/operations.def"
