#include "abi/export.h"
#include "ops/photo/photo.h"

using namespace miravex;

MIRAVEX_EXPORT(AlignMTB, alignMtb)
MIRAVEX_EXPORT(CalibrateDebevec, calibrateDebevec)
MIRAVEX_EXPORT(CalibrateRobertson, calibrateRobertson)
MIRAVEX_EXPORT(DetailEnhance, detailEnhance)
MIRAVEX_EXPORT(EdgePreservingFilter, edgePreservingFilter)
MIRAVEX_EXPORT(FastNlMeansDenoising, fastNlMeansDenoising)
MIRAVEX_EXPORT(FastNlMeansDenoisingColored, fastNlMeansDenoisingColored)
MIRAVEX_EXPORT(FastNlMeansDenoisingColoredMulti, fastNlMeansDenoisingColoredMulti)
MIRAVEX_EXPORT(FastNlMeansDenoisingMulti, fastNlMeansDenoisingMulti)
MIRAVEX_EXPORT(MergeDebevec, mergeDebevec)
MIRAVEX_EXPORT(MergeMertens, mergeMertens)
MIRAVEX_EXPORT(MergeRobertson, mergeRobertson)
MIRAVEX_EXPORT(OpticalFlowDualTVL1, opticalFlowDualTvl1)
MIRAVEX_EXPORT(OpticalFlowFarneback, opticalFlowFarneback)
MIRAVEX_EXPORT(Stylization, stylization)
MIRAVEX_EXPORT(SuperResolution, superResolution)
MIRAVEX_EXPORT(Tonemap, tonemap)
