// Takes the place of direct_jpeg.cpp in builds without the direct path.
#include "ops/loading/direct_jpeg.h"

namespace miravex::importops {

cv::Mat readJpegDirectly(const std::string&, bool, int, Scratch&) { return {}; }

} // namespace miravex::importops
