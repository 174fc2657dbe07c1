/* A host in C: its images are gray bytes, and one of them loses a speck in the median filter. */
#include <miravex/host_interface.h>
#include <stdio.h>
#include <stdlib.h>

HostErrorCode opencv_MedianFilter(LibraryData, int64_t, ArgumentSlot *, ArgumentSlot);

struct KImageObject { int64_t rows, columns; uint8_t samples[64]; };

static int new2D(int64_t columns, int64_t rows, int64_t channels, PixelType type, ColorSpace space,
                 HostBoolean interleaved, KImage *out)
{
    *out = channels == 1 && rows * columns <= 64 ? calloc(1, sizeof **out) : NULL;
    if (*out) (*out)->rows = rows, (*out)->columns = columns;
    return *out == NULL;
}
static void end(KImage image) { free(image); }
static PixelType type(KImage image) { return PixelTypeByte; }
static ColorSpace space(KImage image) { return ColorSpaceGray; }
static int64_t rows(KImage image) { return image->rows; }
static int64_t columns(KImage image) { return image->columns; }
static int64_t one(KImage image) { return 1; }
static int64_t rank(KImage image) { return image ? 2 : 0; }
static uint8_t *samples(KImage image) { return image->samples; }

int main(void)
{
    const ImageServices images = { .imageNew2D = new2D, .imageFree = end, .imageGetPixelType = type,
        .imageGetColorSpace = space, .imageGetRowCount = rows, .imageGetColumnCount = columns,
        .imageGetSliceCount = one, .imageGetChannels = one, .imageGetRank = rank, .imageGetByteData = samples };
    const CompileSupport support = { NULL };
    const LibraryDataTable table = { .compileSupport = &support, .imageServices = &images };
    if (KorvaneLibrary_initialize(&table) != StatusOk) return 1;

    struct KImageObject picture = { 3, 3, { 10, 20, 30, 40, 255, 50, 60, 70, 80 } };
    ValueCell image = { .image = &picture }, radius = { .integer = 1 }, result;
    ArgumentSlot arguments[] = { &image, &radius };
    if (opencv_MedianFilter(&table, 2, arguments, &result) != StatusOk) return 1;
    printf("%d becomes %d\n", picture.samples[4], result.image->samples[4]);
    end(result.image);
    KorvaneLibrary_uninitialize();
    return 0;
}
