/* The contract between Miravex and the program that loads it (the host).
 *
 * The host fills one LibraryDataTable, keeps it valid for as long as the library is loaded, and hands it
 * to every call. The library calls these services only on the thread that called it, never from a worker.
 * Member order is frozen: new members are appended, never inserted.
 *
 * Compiles as C99 and as C++20.
 */
#ifndef MIRAVEX_HOST_INTERFACE_H
#define MIRAVEX_HOST_INTERFACE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Version of this interface, answered by KorvaneLibrary_getVersion. */
#define MIRAVEX_INTERFACE_VERSION 5

/* Status of every entry: StatusOk, or StatusFunctionError for any failure. No other value is returned. */
typedef int HostErrorCode;
enum { StatusOk = 0, StatusFunctionError = 6 };

/* A truth value: nonzero is true. */
typedef int32_t HostBoolean;

/* How one sample of an image is stored. A bit sample takes one byte and holds 0 or 1. */
typedef int PixelType;
enum { PixelTypeBit = 0, PixelTypeByte = 1, PixelTypeBit16 = 2, PixelTypeReal32 = 3, PixelTypeReal = 4 };

/* What the channels of an image mean. Codes not named here pass through the library unchanged. */
typedef int ColorSpace;
enum { ColorSpaceGray = 0, ColorSpaceRGB = 1, ColorSpaceUnspecified = 8 };

/* Element types of tensors (int64_t, double) and of numeric arrays (float). */
enum { TensorTypeInteger = 2, TensorTypeReal = 3 };
enum { NumericArrayTypeReal32 = 9 };

/* Handles of objects that live in the host. The library never looks inside them. */
typedef struct KImageObject* KImage;
typedef struct KTensorObject* KTensor;
typedef struct NumericArrayObject* NumericArray;

/* One argument or result. Which member is meant follows from the operation's signature. */
typedef union ValueCell {
    int64_t integer;
    double real;
    HostBoolean boolean;
    const char* string; /* NUL-terminated UTF-8; handed back with stringDisown after the call */
    KTensor tensor;
    KImage image;
    NumericArray numericArray;
} ValueCell;

typedef ValueCell* ArgumentSlot;

/* Comparisons of hostCompareReals. ComparisonExceeds: whether the first of two values exceeds the second, by
 * the host's own rules. The library asks for no other. */
enum { ComparisonExceeds = 7 };

/* Compares the `count` reals at `values` by the host's own rules; nonzero means that the comparison holds.
 * The library passes ComparisonExceeds, tolerance 0, count 2 and two values. */
typedef int (*HostCompareReals)(int operation, double tolerance, int64_t count, const double* values);

typedef struct CompileSupport {
    /* Saved by KorvaneLibrary_initialize and called on the thread of the operation that needs it. */
    HostCompareReals hostCompareReals;
} CompileSupport;

/* Images. Samples are row-major from the top row; slices of a 3D image follow one another. Interleaved
 * images keep all channels of a pixel together, planar images keep one whole channel (of each slice, or of
 * the volume: the host's choice, the library always asks for interleaved samples) after the other. */
typedef struct ImageServices {
    /* Create an image that the library owns until it frees it or returns it. 0 means created; otherwise
     * *out is left null. `interleaved` is true for two channels and more. */
    int (*imageNew2D)(int64_t width, int64_t height, int64_t channels, PixelType pixelType,
                      ColorSpace colorSpace, HostBoolean interleaved, KImage* out);
    int (*imageNew3D)(int64_t slices, int64_t width, int64_t height, int64_t channels, PixelType pixelType,
                      ColorSpace colorSpace, HostBoolean interleaved, KImage* out);

    /* Ends an image that the library created (imageNew2D, imageNew3D, imageConvertType). */
    void (*imageFree)(KImage image);

    /* Facts about an image. Rank is 2 or 3, and must be 0 for a null handle; slices count only at rank 3. */
    PixelType (*imageGetPixelType)(KImage image);
    int64_t (*imageGetRowCount)(KImage image);
    int64_t (*imageGetColumnCount)(KImage image);
    int64_t (*imageGetSliceCount)(KImage image);
    int64_t (*imageGetRank)(KImage image);
    int64_t (*imageGetChannels)(KImage image);
    HostBoolean (*imageIsInterleaved)(KImage image);
    ColorSpace (*imageGetColorSpace)(KImage image);

    /* The samples, valid as long as the image. Those of an input are read while the operation runs and never
     * written; a new image's are written through, and start as the host likes. Each is asked only of an image
     * of its pixel type, and they lie where that type may (a multiple of 2, 4 or 8 bytes); null means that
     * they can't be had. */
    uint8_t* (*imageGetBitData)(KImage image);
    uint8_t* (*imageGetByteData)(KImage image);
    uint16_t* (*imageGetBit16Data)(KImage image);
    float* (*imageGetReal32Data)(KImage image);
    double* (*imageGetRealData)(KImage image);

    /* A new image of that type and layout, which the library frees; null when it can't be made. The host's
     * rules decide how values convert. */
    KImage (*imageConvertType)(KImage image, PixelType pixelType, HostBoolean interleaved);
} ImageServices;

/* Numeric arrays: row-major, owned by the host. */
typedef struct NumericArrayServices {
    int (*numericArrayGetType)(NumericArray array);
    int64_t (*numericArrayGetRank)(NumericArray array);
    const int64_t* (*numericArrayGetDimensions)(NumericArray array); /* valid as long as the array */
    void* (*numericArrayGetData)(NumericArray array); /* valid as long as the array */

    /* Hands back an array that was passed shared. */
    void (*numericArrayDisown)(NumericArray array);
} NumericArrayServices;

typedef struct LibraryDataTable {
    /* Hands a string argument back to the host; called exactly once for each, after success and failure. */
    void (*stringDisown)(const char* string);

    /* Creates a row-major tensor of TensorTypeInteger or TensorTypeReal; the library owns it until it frees
     * or returns it. 0 means created. Elements are expected to start at zero. */
    int (*tensorNew)(int64_t elementType, int64_t rank, const int64_t* dimensions, KTensor* out);
    void (*tensorFree)(KTensor tensor);

    /* Facts and elements; pointers stay valid as long as the tensor. Data may be null when it is empty. */
    int64_t (*tensorGetRank)(KTensor tensor);
    const int64_t* (*tensorGetDimensions)(KTensor tensor);
    int64_t (*tensorGetFlattenedLength)(KTensor tensor);
    int64_t* (*tensorGetIntegerData)(KTensor tensor);
    double* (*tensorGetRealData)(KTensor tensor);

    /* Sub-tables, valid as long as this table. */
    const CompileSupport* compileSupport;
    const ImageServices* imageServices;
    const NumericArrayServices* numericArrayServices;
} LibraryDataTable;

typedef const LibraryDataTable* LibraryData;

#if defined(__GNUC__)
#define MIRAVEX_PUBLIC __attribute__((visibility("default")))
#else
#define MIRAVEX_PUBLIC
#endif

/* Answers MIRAVEX_INTERFACE_VERSION at any time, also before initialisation. */
MIRAVEX_PUBLIC int KorvaneLibrary_getVersion(void);

/* Called once, before any operation, with the table that later calls will pass too. Answers
 * StatusFunctionError when the table or its compile support is missing. Calling it again replaces the
 * saved comparison routine. */
MIRAVEX_PUBLIC HostErrorCode KorvaneLibrary_initialize(LibraryData data);

/* Called before the library is unloaded. There is nothing to release. */
MIRAVEX_PUBLIC void KorvaneLibrary_uninitialize(void);

/* The form of every operation, exported as opencv_<Name>. `args` holds `argc` slots; `result` receives one
 * value when the status is StatusOk and is left alone otherwise. */
typedef HostErrorCode (*MiravexOperation)(LibraryData data, int64_t argc, ArgumentSlot* args,
                                          ArgumentSlot result);

#ifdef __cplusplus
}
#endif

#endif
