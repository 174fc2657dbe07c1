#include "exchange/image_to_mat.h"

#include "exchange/working_image.h"

#include <cstring>

namespace miravex {

bool imageToMat(const ImageServices& images, KImage image, cv::Mat& out, int requestedDepth)
{
    const WorkingImage working(images, image, requestedDepth);
    if (!working.suitable()) return false;

    const std::uint8_t* samples = working.fits() ? working.samples() : nullptr;
    if (!samples) {
        out.release();
        return false;
    }
    std::size_t bytes = working.sliceBytes();
    if (working.rank() == 2) {
        out.create(working.rows(), working.columns(), working.matrixType());
    } else if (images.imageGetRank(image) == 3) {
        const int sizes[] = { working.rows(), working.columns(), working.slices() };
        out.create(3, sizes, working.matrixType());
        bytes *= static_cast<std::size_t>(working.slices());
    } else {
        out.release();
        return false;
    }
    std::memcpy(out.data, samples, bytes);
    return true;
}

} // namespace miravex
