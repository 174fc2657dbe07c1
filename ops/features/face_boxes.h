#pragma once

#include "convert/flat_result.h"

#include <vector>

namespace miravex {

/// A face in the matrix frame and how sure its detector is: neighbours counted, or a confidence.
struct Face {
    double x = 0, y = 0, width = 0, height = 0;
    double score = 0;
};

/// The number of faces, their boxes (left, bottom, right, top; y up from the bottom edge), then their scores.
/// The faces were found in a picture of `rows` rows, `scale` times smaller than the host's.
inline HostErrorCode writeFaces(LibraryData data, const std::vector<Face>& faces, int64_t rows, double scale,
                                KTensor* result)
{
    FlatResult<double> list(data, { 1 + 5 * countOf(faces) });
    list.add({ static_cast<double>(faces.size()) });
    for (const Face& face : faces) {
        const double left = face.x + 0.5;
        const double bottom = static_cast<double>(rows) - face.y - 0.5 - face.height;
        list.add(
            { left * scale, bottom * scale, (left + face.width) * scale, (bottom + face.height) * scale });
    }
    for (const Face& face : faces) list.add({ face.score });
    return list.finish(result);
}

} // namespace miravex
