#include "convert/image_to_mat.h"

#include "convert/borrowed_mat.h"
#include "convert/matrix_memory.h"

namespace miravex {

bool imageToMat(const ImageServices& images, KImage image, cv::Mat& out, int requestedDepth)
{
    const BorrowedMat lent(images, image, requestedDepth);
    if (!lent) {
        if (lent.suitable()) out.release();
        return false;
    }
    const cv::Mat& source = lent.matrix();
    useLargePages(out);
    out.create(source.dims, source.size.p, source.type()); // copyTo() would drop the sides of an empty one
    if (!source.empty()) source.copyTo(out);
    return true;
}

} // namespace miravex
