#include "abi/export.h"
#include "ops/features/features.h"

using namespace miravex;

MIRAVEX_EXPORT(Agast, agast)
MIRAVEX_EXPORT(Akaze, akaze)
MIRAVEX_EXPORT(Brisk, brisk)
MIRAVEX_EXPORT(DescriptorMatcher, descriptorMatcher)
MIRAVEX_EXPORT(EarthMoverDistance, earthMoverDistance)
MIRAVEX_EXPORT(EarthMoverDistanceFlowMatrix, earthMoverDistanceFlowMatrix)
MIRAVEX_EXPORT(EarthMoverDistanceWeightsFlowMatrix, earthMoverDistanceWeightsFlowMatrix)
MIRAVEX_EXPORT(FaceDetection, faceDetection)
MIRAVEX_EXPORT(FaceDetectionDNN, faceDetectionDnn)
MIRAVEX_EXPORT(Fast, fast)
MIRAVEX_EXPORT(FindContours, findContours)
MIRAVEX_EXPORT(HoughCircles, houghCircles)
MIRAVEX_EXPORT(HoughLines, houghLines)
MIRAVEX_EXPORT(HoughLinesP, houghLinesP)
MIRAVEX_EXPORT(Kaze, kaze)
MIRAVEX_EXPORT(LineSegmentDetector, lineSegmentDetector)
MIRAVEX_EXPORT(MatchShapes, matchShapes)
MIRAVEX_EXPORT(MserDetect, mserDetect)
MIRAVEX_EXPORT(Orb, orb)
