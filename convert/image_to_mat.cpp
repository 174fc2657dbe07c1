#include "convert/image_to_mat.h"

#include "convert/matrix_memory.h"
#include "convert/working_image.h"

#include <cstring>

namespace miravex {

bool imageToMat(const ImageServices& images, KImage image, cv::Mat& out, int requestedDepth)
{
    const WorkingImage working(images, image, requestedDepth);
    if (!working.suitable()) return false;

    std::size_t bytes = 0;
    useLargePages(out);
    if (working.fits() && working.rank() == 2) {
        out.create(working.rows(), working.columns(), working.matrixType());
        bytes = working.sliceBytes();
    } else if (working.fitsAllSlices() && images.imageGetRank(image) == 3) {
        const int sizes[] = { working.rows(), working.columns(), static_cast<int>(working.slices()) };
        out.create(3, sizes, working.matrixType());
        bytes = working.sliceBytes() * static_cast<std::size_t>(working.slices());
    } else {
        out.release();
        return false;
    }
    if (bytes == 0) return true;

    const std::uint8_t* samples = working.samples();
    if (!samples) {
        out.release();
        return false;
    }
    std::memcpy(out.data, samples, bytes);
    return true;
}

} // namespace miravex
