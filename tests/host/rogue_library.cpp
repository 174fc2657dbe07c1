#include "miravex/host_interface.h"

// A library that breaks every rule on demand, for the tests of the host that must notice.

#ifndef ROGUE_VERSION
#define ROGUE_VERSION MIRAVEX_INTERFACE_VERSION
#endif
#ifndef ROGUE_STATUS
#define ROGUE_STATUS StatusOk
#endif

extern "C" {

MIRAVEX_PUBLIC int KorvaneLibrary_getVersion(void) { return ROGUE_VERSION; }
MIRAVEX_PUBLIC HostErrorCode KorvaneLibrary_initialize(LibraryData) { return ROGUE_STATUS; }
MIRAVEX_PUBLIC void KorvaneLibrary_uninitialize(void) { }

/// Arguments: what to do, an image, a string.
MIRAVEX_PUBLIC HostErrorCode opencv_Rogue(LibraryData data, int64_t argc, ArgumentSlot* args,
                                          ArgumentSlot result)
{
    if (argc != 3) return StatusFunctionError;
    const ImageServices& images = *data->imageServices;
    const char* string = args[2]->string;
    KImage image = nullptr;
    images.imageNew2D(2, 2, 1, PixelTypeByte, ColorSpaceGray, 0, &image);
    HostErrorCode status = StatusOk;
    switch (args[0]->integer) {
    case 1: // leaks an image
        images.imageNew2D(2, 2, 1, PixelTypeByte, ColorSpaceGray, 0, &image);
        break;
    case 2: // returns what it has freed
        images.imageFree(image);
        break;
    case 3: // returns an image of the host's
        images.imageFree(image);
        image = args[1]->image;
        break;
    case 4: // frees an image of the host's
        images.imageFree(args[1]->image);
        break;
    case 5: // fails and writes its result
        result->image = image;
        images.imageFree(image);
        status = StatusFunctionError;
        break;
    case 6: // knows another status
        images.imageFree(image);
        status = 3;
        break;
    case 7: // keeps the string
        result->image = image;
        return StatusOk;
    case 8: // gives the string back twice
        data->stringDisown(string);
        break;
    case 9: // writes past the end
        images.imageGetByteData(image)[4] = 9;
        break;
    default: break;
    }
    data->stringDisown(string);
    if (status == StatusOk) result->image = image;
    return status;
}

} // extern "C"
