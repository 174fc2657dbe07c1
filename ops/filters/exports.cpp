#include "abi/export.h"
#include "ops/filters/filters.h"

using namespace miravex;

MIRAVEX_EXPORT(Color_Boost, colorBoost)
MIRAVEX_EXPORT(Decolor, decolor)
MIRAVEX_EXPORT(Dilation, dilation)
MIRAVEX_EXPORT(ImageConvolve, imageConvolve)
MIRAVEX_EXPORT(ImageCorrelate, imageCorrelate)
MIRAVEX_EXPORT(imageDemosaic, imageDemosaic)
MIRAVEX_EXPORT(ImagePad, imagePad)
MIRAVEX_EXPORT(ImagePerspectiveTransformation, imagePerspectiveTransformation)
MIRAVEX_EXPORT(LocalAdaptiveBinarize, localAdaptiveBinarize)
MIRAVEX_EXPORT(LogPolarCV, logPolarCV)
MIRAVEX_EXPORT(LogPolarRemap, logPolarRemap)
MIRAVEX_EXPORT(MedianFilter, medianFilter)
MIRAVEX_EXPORT(PhaseCorrelate, phaseCorrelate)
MIRAVEX_EXPORT(PyrDown, pyrDown)
MIRAVEX_EXPORT(PyrMeanShiftFilter, pyrMeanShiftFilter)
MIRAVEX_EXPORT(PyrUp, pyrUp)
MIRAVEX_EXPORT(RemapTensor, remapTensor)
