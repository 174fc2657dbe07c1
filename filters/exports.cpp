#include "filters/filters.h"
#include "frame/export.h"

using namespace miravex;

MIRAVEX_EXPORT(MedianFilter, medianFilter)
MIRAVEX_EXPORT(PyrDown, pyrDown)
MIRAVEX_EXPORT(PyrMeanShiftFilter, pyrMeanShiftFilter)
MIRAVEX_EXPORT(PyrUp, pyrUp)
