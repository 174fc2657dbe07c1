/* The interface must read the same to a host in C: this file is compiled as strict C99. */
#include "miravex/host_interface.h"

#include <stddef.h>

/* Sizes that C sees, for comparison with those that C++ sees. */
size_t sizeInC(int which);
size_t sizeInC(int which)
{
    switch (which) {
    case 0: return sizeof(LibraryDataTable);
    case 1: return sizeof(ImageServices);
    case 2: return sizeof(NumericArrayServices);
    case 3: return sizeof(CompileSupport);
    case 4: return sizeof(ValueCell);
    case 5: return offsetof(LibraryDataTable, numericArrayServices);
    case 6: return offsetof(ImageServices, imageConvertType);
    default: return 0;
    }
}

/* The entries can be named and have the types that a host expects. */
typedef struct Entries {
    int (*getVersion)(void);
    HostErrorCode (*initialize)(LibraryData);
    void (*uninitialize)(void);
} Entries;

Entries entriesInC(void);
Entries entriesInC(void)
{
    Entries entries = { KorvaneLibrary_getVersion, KorvaneLibrary_initialize, KorvaneLibrary_uninitialize };
    return entries;
}
