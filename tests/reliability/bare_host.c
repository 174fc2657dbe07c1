/* A host of a few lines that links nothing but the C library: when it closes Miravex, nobody else keeps
 * OpenCV in memory. Each way of loading is tried over and over.
 *
 * Usage: bare_host LIBRARY local|global|unready|reading ROUNDS
 */
#define _GNU_SOURCE
#include "miravex/host_interface.h"

#include <dirent.h>
#include <dlfcn.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

struct KImageObject {
    int64_t width, height, channels;
    PixelType pixelType;
    uint8_t samples[] __attribute__((aligned(16)));
};

static int liveImages = 0;

static int imageNew2D(int64_t width, int64_t height, int64_t channels, PixelType pixelType, ColorSpace space,
                      HostBoolean interleaved, KImage* out)
{
    (void)space;
    (void)interleaved;
    *out = calloc(1, sizeof(struct KImageObject) + (size_t)(width * height * channels) * 8);
    if (!*out) return 1;
    (*out)->width = width;
    (*out)->height = height;
    (*out)->channels = channels;
    (*out)->pixelType = pixelType;
    ++liveImages;
    return 0;
}
static int imageNew3D(int64_t slices, int64_t width, int64_t height, int64_t channels, PixelType pixelType,
                      ColorSpace space, HostBoolean interleaved, KImage* out)
{
    (void)slices, (void)width, (void)height, (void)channels, (void)pixelType, (void)space, (void)interleaved;
    *out = NULL;
    return 1;
}
static void imageFree(KImage image)
{
    free(image);
    --liveImages;
}
static PixelType imageGetPixelType(KImage image) { return image ? image->pixelType : -1; }
static int64_t imageGetRowCount(KImage image) { return image ? image->height : 0; }
static int64_t imageGetColumnCount(KImage image) { return image ? image->width : 0; }
static int64_t imageGetSliceCount(KImage image) { return image ? 1 : 0; }
static int64_t imageGetRank(KImage image) { return image ? 2 : 0; }
static int64_t imageGetChannels(KImage image) { return image ? image->channels : 0; }
static HostBoolean imageIsInterleaved(KImage image) { return image != NULL; }
static ColorSpace imageGetColorSpace(KImage image) { return image ? ColorSpaceGray : ColorSpaceUnspecified; }
static uint8_t* imageGetData(KImage image) { return image->samples; }
static uint16_t* imageGetBit16Data(KImage image) { return (uint16_t*)(void*)image->samples; }
static float* imageGetReal32Data(KImage image) { return (float*)(void*)image->samples; }
static double* imageGetRealData(KImage image) { return (double*)(void*)image->samples; }
static KImage imageConvertType(KImage image, PixelType pixelType, HostBoolean interleaved)
{
    KImage converted = NULL;
    imageNew2D(image->width, image->height, image->channels, pixelType, 0, interleaved, &converted);
    return converted;
}

static const ImageServices images = {
    imageNew2D,          imageNew3D,         imageFree,    imageGetPixelType, imageGetRowCount,
    imageGetColumnCount, imageGetSliceCount, imageGetRank, imageGetChannels,  imageIsInterleaved,
    imageGetColorSpace,  imageGetData,       imageGetData, imageGetBit16Data, imageGetReal32Data,
    imageGetRealData,    imageConvertType,
};

/* Lists of three reals are the only tensors here; none can be created. */
struct KTensorObject {
    double elements[3];
};
static const int64_t three = 3;

static void stringDisown(const char* string) { (void)string; }
static int tensorNew(int64_t type, int64_t rank, const int64_t* dimensions, KTensor* out)
{
    (void)type, (void)rank, (void)dimensions;
    *out = NULL;
    return 1;
}
static void tensorFree(KTensor tensor) { (void)tensor; }
static int64_t tensorGetRank(KTensor tensor) { return tensor ? 1 : 0; }
static const int64_t* tensorGetDimensions(KTensor tensor) { return tensor ? &three : NULL; }
static int64_t tensorGetFlattenedLength(KTensor tensor) { return tensor ? three : 0; }
static int64_t* tensorGetIntegerData(KTensor tensor)
{
    (void)tensor;
    return NULL;
}
static double* tensorGetRealData(KTensor tensor) { return tensor ? tensor->elements : NULL; }
static int compareReals(int operation, double tolerance, int64_t count, const double* values)
{
    (void)tolerance;
    return operation == 7 && count == 2 && values[0] > values[1];
}
static const CompileSupport compileSupport = { compareReals };

static const LibraryDataTable table = {
    stringDisown,
    tensorNew,
    tensorFree,
    tensorGetRank,
    tensorGetDimensions,
    tensorGetFlattenedLength,
    tensorGetIntegerData,
    tensorGetRealData,
    &compileSupport,
    &images,
    NULL,
};

#define REQUIRE(condition)                                                                                   \
    do {                                                                                                     \
        if (!(condition)) {                                                                                  \
            fprintf(stderr, "line %d, round %d: %s does not hold\n", __LINE__, currentRound, #condition);    \
            exit(1);                                                                                         \
        }                                                                                                    \
    } while (0)

static int currentRound = 0;

typedef int (*GetVersion)(void);
typedef HostErrorCode (*Initialize)(LibraryData);
typedef void (*Uninitialize)(void);

/* ISO C has no conversion from an object pointer to a function pointer; POSIX promises that the bits do. */
static void find(void* library, const char* name, void* function)
{
    void* const symbol = dlsym(library, name);
    REQUIRE(symbol != NULL);
    memcpy(function, &symbol, sizeof symbol);
}

static KImage squares(int64_t side)
{
    KImage image = NULL;
    REQUIRE(imageNew2D(side, side, 1, PixelTypeByte, ColorSpaceGray, 0, &image) == 0);
    for (int64_t i = 0; i < side * side; ++i) image->samples[i] = (uint8_t)((i / 8 + i / side / 8) % 2 * 200);
    return image;
}

/* True when a library whose file name holds `name` is in this process. */
static int isMapped(const char* name)
{
    char line[4096];
    int found = 0;
    FILE* maps = fopen("/proc/self/maps", "r");
    REQUIRE(maps != NULL);
    while (fgets(line, sizeof line, maps)) found |= strstr(line, name) != NULL;
    fclose(maps);
    return found;
}

static int codecsAreMapped(void)
{
    return isMapped("libmiravex_readers") || isMapped("libopencv_imgcodecs") || isMapped("libopencv_videoio")
        || isMapped("libopencv_superres");
}

static void filterByMedian(void* library)
{
    MiravexOperation operation = NULL;
    ValueCell cells[2], result = { .integer = 0 };
    ArgumentSlot slots[2] = { &cells[0], &cells[1] };
    cells[0].image = squares(64);
    cells[1].integer = 2;
    find(library, "opencv_MedianFilter", &operation);
    REQUIRE(operation(&table, 2, slots, &result) == StatusOk);
    imageFree(result.image);
    imageFree(cells[0].image);
    REQUIRE(liveImages == 0);
}

/* A picture large enough for OpenCV to set its pool to work. */
static void callOperations(void* library)
{
    MiravexOperation operation = NULL;
    ValueCell cells[4], result = { .integer = 0 };
    ArgumentSlot slots[4] = { &cells[0], &cells[1], &cells[2], &cells[3] };
    cells[0].image = squares(768);
    cells[1].string = "Fixed";
    cells[2].integer = 384;
    cells[3].integer = 384;
    find(library, "opencv_PyrDown", &operation);
    REQUIRE(operation(&table, 4, slots, &result) == StatusOk);
    REQUIRE(result.image->width == 384);
    imageFree(result.image);

    result.integer = 17;
    REQUIRE(operation(&table, 3, slots, &result) == StatusFunctionError && result.integer == 17);
    REQUIRE(operation(NULL, 4, slots, &result) == StatusFunctionError);
    REQUIRE(operation(&table, 4, NULL, &result) == StatusFunctionError);
    REQUIRE(operation(&table, 4, slots, NULL) == StatusFunctionError);
    imageFree(cells[0].image);
    REQUIRE(liveImages == 0);
}

/* Binarises by the saved comparison: without one it has to refuse, not to crash. */
static HostErrorCode binarize(void* library)
{
    MiravexOperation operation = NULL;
    ValueCell cells[5], result = { .integer = 0 };
    ArgumentSlot slots[5] = { &cells[0], &cells[1], &cells[2], &cells[3], &cells[4] };
    struct KTensorObject coefficients = { { 1, 0, 0 } };
    cells[0].image = squares(16);
    cells[1].integer = 2;
    cells[2].tensor = &coefficients;
    cells[3].string = "Fixed";
    cells[4].real = 0;
    find(library, "opencv_LocalAdaptiveBinarize", &operation);
    const HostErrorCode status = operation(&table, 5, slots, &result);
    if (status == StatusOk) imageFree(result.image);
    imageFree(cells[0].image);
    REQUIRE(liveImages == 0);
    return status;
}

static int threadCount(void)
{
    int count = 0;
    DIR* tasks = opendir("/proc/self/task");
    REQUIRE(tasks != NULL);
    while (readdir(tasks)) ++count;
    closedir(tasks);
    return count - 2;
}

static int openFileCount(void)
{
    int count = 0;
    DIR* files = opendir("/proc/self/fd");
    REQUIRE(files != NULL);
    while (readdir(files)) ++count;
    closedir(files);
    return count;
}

/* One life of the library, loaded as `flags` say. */
static void useOnce(const char* path, int flags)
{
    void* const library = dlopen(path, RTLD_NOW | flags);
    if (!library) fprintf(stderr, "%s\n", dlerror());
    REQUIRE(library != NULL);
    GetVersion getVersion = NULL;
    Initialize initialize = NULL;
    Uninitialize uninitialize = NULL;
    find(library, "KorvaneLibrary_getVersion", &getVersion);
    find(library, "KorvaneLibrary_initialize", &initialize);
    find(library, "KorvaneLibrary_uninitialize", &uninitialize);
    REQUIRE(getVersion() == MIRAVEX_INTERFACE_VERSION);
    REQUIRE(initialize(&table) == StatusOk);
    callOperations(library);
    filterByMedian(library);
    REQUIRE(!codecsAreMapped());
    uninitialize();
    REQUIRE(dlclose(library) == 0);
}

/* Calls before initialise, and tables that lack something. */
static void useUnready(const char* path)
{
    void* const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    REQUIRE(library != NULL);
    GetVersion getVersion = NULL;
    Initialize initialize = NULL;
    find(library, "KorvaneLibrary_getVersion", &getVersion);
    find(library, "KorvaneLibrary_initialize", &initialize);
    REQUIRE(getVersion() == MIRAVEX_INTERFACE_VERSION);
    callOperations(library);
    REQUIRE(binarize(library) == StatusFunctionError);

    REQUIRE(initialize(NULL) == StatusFunctionError);
    LibraryDataTable lacking = table;
    lacking.compileSupport = NULL;
    REQUIRE(initialize(&lacking) == StatusFunctionError);
    REQUIRE(binarize(library) == StatusFunctionError);

    const CompileSupport nothing = { NULL };
    lacking.compileSupport = &nothing;
    (void)initialize(&lacking);
    REQUIRE(binarize(library) == StatusFunctionError);

    REQUIRE(initialize(&table) == StatusOk);
    REQUIRE(binarize(library) == StatusOk);
    REQUIRE(dlclose(library) == 0);
}

/* Looks for a film that is nowhere. */
static void* openNoFilm(void* library)
{
    MiravexOperation operation = NULL;
    ValueCell cells[3], result = { .integer = 17 };
    ArgumentSlot slots[3] = { &cells[0], &cells[1], &cells[2] };
    cells[0].string = "/nowhere/film.avi";
    cells[1].string = "Farneback";
    cells[2].integer = 2;
    find(library, "opencv_SuperResolution", &operation);
    REQUIRE(operation(&table, 3, slots, &result) == StatusFunctionError && result.integer == 17);
    return NULL;
}

/* The second part is loaded by whichever thread needs it first, from the library's folder, although that was
 * named from a working folder left since; and it stays. */
static void useReaders(const char* path)
{
    enum { callers = 4 };
    pthread_t threads[callers];
    char* const folder = strdup(path);
    char* const name = strrchr(folder, '/');
    char relative[256];
    REQUIRE(name != NULL && snprintf(relative, sizeof relative, ".%s", name) < (int)sizeof relative);
    *name = 0;
    REQUIRE(chdir(folder) == 0);
    void* const library = dlopen(relative, RTLD_NOW | RTLD_LOCAL);
    REQUIRE(library != NULL);
    REQUIRE(chdir("/") == 0);
    REQUIRE(codecsAreMapped() == (currentRound > 0));
    for (int i = 0; i < callers; ++i) REQUIRE(pthread_create(&threads[i], NULL, openNoFilm, library) == 0);
    for (int i = 0; i < callers; ++i) REQUIRE(pthread_join(threads[i], NULL) == 0);
    REQUIRE(isMapped("libmiravex_readers") && isMapped("libopencv_imgcodecs"));
    REQUIRE(dlclose(library) == 0);
    REQUIRE(isMapped("libmiravex_readers"));
    free(folder);
}

int main(int argc, char** argv)
{
    if (argc != 4) {
        fprintf(stderr, "usage: bare_host LIBRARY local|global|unready|reading ROUNDS\n");
        return 2;
    }
    const char* const way = argv[2];
    const int rounds = atoi(argv[3]);
    int filesAtFirst = 0, threads = 0;
    for (currentRound = 0; currentRound < rounds; ++currentRound) {
        if (strcmp(way, "unready") == 0)
            useUnready(argv[1]);
        else if (strcmp(way, "reading") == 0)
            useReaders(argv[1]);
        else
            useOnce(argv[1], strcmp(way, "global") == 0 ? RTLD_GLOBAL : RTLD_LOCAL);
        if (currentRound == 0) {
            filesAtFirst = openFileCount();
            threads = threadCount();
        }
    }
    /* Whatever threads OpenCV left must find their code still there. */
    usleep(200000);
    REQUIRE(openFileCount() == filesAtFirst);
    printf("%d rounds, %d threads after the first and %d after the last\n", rounds, threads, threadCount());
    return 0;
}
