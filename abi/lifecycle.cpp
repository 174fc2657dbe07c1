#include "abi/library_state.h"

namespace miravex {

namespace {
HostCompareReals savedComparison = nullptr;
}

HostCompareReals hostCompareReals() noexcept { return savedComparison; }

} // namespace miravex

int KorvaneLibrary_getVersion(void) { return MIRAVEX_INTERFACE_VERSION; }

HostErrorCode KorvaneLibrary_initialize(LibraryData data)
{
    if (!data || !data->compileSupport) return StatusFunctionError;
    miravex::savedComparison = data->compileSupport->hostCompareReals;
    return StatusOk;
}

void KorvaneLibrary_uninitialize(void) { }
