#pragma once

#include <opencv2/videoio.hpp>

namespace miravex {

/// Opens a film by OpenCV's readers of files. Left to itself OpenCV goes on to drivers of cameras with a file
/// that none of them knows; they search the machine for devices, and leak.
inline bool openFilm(cv::VideoCapture& film, const cv::String& path)
{
    for (const int reader :
         { cv::CAP_FFMPEG, cv::CAP_GSTREAMER, cv::CAP_INTEL_MFX, cv::CAP_IMAGES, cv::CAP_OPENCV_MJPEG })
        if (film.open(path, reader)) return true;
    return false;
}

} // namespace miravex
