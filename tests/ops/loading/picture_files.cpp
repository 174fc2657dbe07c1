#include "tests/ops/loading/picture_files.h"

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

// libjpeg wants size_t and FILE declared before.
#include <jpeglib.h>

namespace miravex::test {

namespace {

/// An EXIF block with an orientation and nothing else.
std::string exifBlock(int orientation, bool bigEndian)
{
    std::string block("Exif\0\0", 6);
    const auto put = [&](unsigned value, int bytes) {
        for (int i = 0; i < bytes; ++i)
            block += static_cast<char>(value >> (8 * (bigEndian ? bytes - 1 - i : i)) & 0xFFU);
    };
    block += bigEndian ? "MM" : "II";
    put(42, 2);
    put(8, 4); // where the first directory stands
    put(1, 2); // its entries
    put(0x0112, 2);
    put(3, 2); // a 16-bit number
    put(1, 4);
    put(static_cast<unsigned>(orientation), 2);
    put(0, 2);
    put(0, 4); // no further directory
    return block;
}

void setColors(jpeg_compress_struct& jpeg, const JpegOptions& options)
{
    if (options.gray) {
        jpeg.input_components = 1;
        jpeg.in_color_space = JCS_GRAYSCALE;
    } else if (options.cmyk) {
        jpeg.input_components = 4;
        jpeg.in_color_space = JCS_CMYK;
    } else {
        jpeg.input_components = 3;
        jpeg.in_color_space = JCS_EXT_BGR;
    }
}

void setCoding(jpeg_compress_struct& jpeg, const JpegOptions& options)
{
    jpeg_set_defaults(&jpeg);
    if (options.storedAsRgb) jpeg_set_colorspace(&jpeg, JCS_RGB);
    jpeg_set_quality(&jpeg, options.quality, TRUE);
    if (!options.gray && !options.cmyk && !options.storedAsRgb) {
        jpeg.comp_info[0].h_samp_factor = options.horizontal;
        jpeg.comp_info[0].v_samp_factor = options.vertical;
    }
    if (options.progressive) jpeg_simple_progression(&jpeg);
    jpeg.arith_code = options.arithmetic ? TRUE : FALSE;
    jpeg.restart_interval = options.restartInterval;
}

void writeBlock(jpeg_compress_struct& jpeg, const std::string& block)
{
    jpeg_write_marker(&jpeg, JPEG_APP0 + 1, reinterpret_cast<const JOCTET*>(block.data()),
                      static_cast<unsigned>(block.size()));
}

cv::Mat samplesOf(const cv::Mat& picture, const JpegOptions& options)
{
    cv::Mat samples = picture;
    if (options.gray) cv::cvtColor(picture, samples, cv::COLOR_BGR2GRAY);
    if (options.cmyk) {
        cv::cvtColor(picture, samples, cv::COLOR_BGR2BGRA);
        for (int y = 0; y < samples.rows; ++y)
            for (int x = 0; x < samples.cols; ++x)
                samples.at<cv::Vec4b>(y, x)[3] = static_cast<uchar>(255 - (x + y) % 128);
    }
    return samples;
}

} // namespace

void writeJpeg(const std::string& path, const cv::Mat& picture, const JpegOptions& options)
{
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) throw std::runtime_error("cannot write " + path);
    jpeg_compress_struct jpeg;
    jpeg_error_mgr errors;
    jpeg.err = jpeg_std_error(&errors); // ends the test program: these pictures can be written
    jpeg_create_compress(&jpeg);
    jpeg_stdio_dest(&jpeg, file);
    jpeg.image_width = static_cast<JDIMENSION>(picture.cols);
    jpeg.image_height = static_cast<JDIMENSION>(picture.rows);
    setColors(jpeg, options);
    setCoding(jpeg, options);
    jpeg_start_compress(&jpeg, TRUE);
    if (options.orientation) writeBlock(jpeg, exifBlock(*options.orientation, options.bigEndianExif));
    if (!options.comment.empty()) writeBlock(jpeg, options.comment);
    const cv::Mat samples = samplesOf(picture, options);
    for (int y = 0; y < samples.rows; ++y) {
        JSAMPROW row = const_cast<JSAMPROW>(samples.ptr(y));
        jpeg_write_scanlines(&jpeg, &row, 1);
    }
    jpeg_finish_compress(&jpeg);
    jpeg_destroy_compress(&jpeg);
    std::fclose(file);
}

cv::Mat scene(int rows, int columns, unsigned seed)
{
    cv::Mat picture(rows, columns, CV_8UC3);
    cv::RNG random(seed);
    for (int y = 0; y < rows; ++y)
        for (int x = 0; x < columns; ++x)
            picture.at<cv::Vec3b>(y, x) = { cv::saturate_cast<uchar>(x * 255 / columns),
                                            cv::saturate_cast<uchar>(y * 255 / rows),
                                            cv::saturate_cast<uchar>((x + 2 * y) % 256) };
    for (int i = 0; i < 6; ++i) {
        const cv::Point center(random.uniform(0, columns), random.uniform(0, rows));
        const cv::Scalar color(random.uniform(0, 256), random.uniform(0, 256), random.uniform(0, 256));
        cv::circle(picture, center, random.uniform(1, rows / 3 + 2), color, -1);
    }
    cv::Mat noise(rows, columns, CV_8UC3);
    random.fill(noise, cv::RNG::UNIFORM, 0, 24);
    return picture + noise;
}

std::string readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return { std::istreambuf_iterator<char>(file), {} };
}

void writeFile(const std::string& path, const std::string& bytes)
{
    std::ofstream(path, std::ios::binary) << bytes;
}

void truncateFile(const std::string& from, const std::string& to, std::size_t bytes)
{
    writeFile(to, readFile(from).substr(0, bytes));
}

std::vector<std::string> picturesOfEveryKind(const TemporaryFolder& folder)
{
    std::vector<std::string> files;
    const auto add = [&](const std::string& name) { return files.emplace_back(folder.file(name)); };
    const cv::Mat picture = scene(91, 123);
    const auto jpeg = [&](const std::string& name, const JpegOptions& options) {
        writeJpeg(add(name), picture, options);
    };
    jpeg("444.jpg", { .horizontal = 1, .vertical = 1 });
    jpeg("422.jpg", { .horizontal = 2, .vertical = 1 });
    jpeg("440.jpg", { .horizontal = 1, .vertical = 2 });
    jpeg("420.jpg", {});
    jpeg("411.jpg", { .horizontal = 4, .vertical = 1 });
    jpeg("410.jpg", { .horizontal = 4, .vertical = 2 });
    jpeg("progressive.jpg", { .progressive = true });
    jpeg("progressive444.jpg", { .horizontal = 1, .vertical = 1, .progressive = true });
    jpeg("gray.jpg", { .gray = true });
    jpeg("progressive-gray.jpg", { .progressive = true, .gray = true });
    jpeg("restart.jpg", { .restartInterval = 3 });
    jpeg("cmyk.jpg", { .cmyk = true });
    jpeg("rgb.jpg", { .storedAsRgb = true });
    jpeg("arithmetic.jpg", { .arithmetic = true });
    jpeg("rough.jpg", { .quality = 12 });
    jpeg("xmp.jpg", { .comment = "http://ns.adobe.com/xap/1.0/" });
    for (int orientation = 0; orientation <= 9; ++orientation)
        jpeg("exif" + std::to_string(orientation) + ".jpg",
             { .orientation = orientation, .bigEndianExif = orientation % 2 == 0 });

    const std::string whole = readFile(folder.file("420.jpg"));
    for (const std::size_t bytes :
         { std::size_t { 2 }, std::size_t { 300 }, whole.size() / 2, whole.size() - 2 })
        writeFile(add("cut" + std::to_string(bytes) + ".jpg"), whole.substr(0, bytes));
    std::string damaged = whole;
    for (std::size_t i = whole.size() / 3; i < whole.size() / 3 + 40; ++i) damaged[i] = '\x55';
    writeFile(add("damaged.jpg"), damaged);
    writeFile(add("trailing.jpg"), whole + "something else behind the picture");
    const std::string progressive = readFile(folder.file("progressive.jpg"));
    writeFile(add("cut-progressive.jpg"), progressive.substr(0, progressive.size() / 2));

    writeJpeg(add("tiny.jpg"), scene(1, 1), { .horizontal = 1, .vertical = 1 });
    writeJpeg(add("line.jpg"), scene(1, 300), {});
    writeJpeg(add("column.jpg"), scene(300, 1), {});
    writeJpeg(add("exact.jpg"), scene(24, 32), {});
    writeJpeg(add("exact-gray.jpg"), scene(24, 32), { .gray = true });
    writeJpeg(add("tall.jpg"), scene(700, 90), {});
    writeJpeg(add("double.jpg"), scene(48, 64), {});

    cv::imwrite(add("color.png"), picture);
    cv::imwrite(add("color.tiff"), picture);
    cv::imwrite(add("color.bmp"), picture);
    cv::imwrite(add("exact.png"), scene(24, 32));
    cv::Mat gray;
    cv::cvtColor(picture, gray, cv::COLOR_BGR2GRAY);
    cv::imwrite(add("gray.png"), gray);
    cv::imwrite(add("gray.bmp"), gray);
    cv::imwrite(add("bilevel.png"), gray > 128, { cv::IMWRITE_PNG_BILEVEL, 1 });
    cv::Mat deep;
    picture.convertTo(deep, CV_16U, 257);
    cv::imwrite(add("deep.png"), deep);
    cv::imwrite(add("deep.tiff"), deep);
    cv::Mat transparent;
    cv::cvtColor(picture, transparent, cv::COLOR_BGR2BGRA);
    cv::imwrite(add("transparent.png"), transparent);
    const std::string png = readFile(folder.file("color.png"));
    writeFile(add("cut.png"), png.substr(0, png.size() / 2));
    writeFile(add("jpeg-named.png"), whole);

    writeFile(add("empty.jpg"), "");
    writeFile(add("text.jpg"), "this is no picture");
    add("missing.jpg");
    files.push_back(folder.path().string());
    files.emplace_back("");
    // A header that promises more pixels than OpenCV accepts makes it throw.
    std::string huge("BM", 2);
    const auto put = [&](unsigned value, int bytes) {
        for (int i = 0; i < bytes; ++i) huge += static_cast<char>(value >> (8 * i) & 0xFFU);
    };
    for (const unsigned value : { 54U + 64U, 0U, 54U, 40U, 1U << 19U, 1U << 19U }) put(value, 4);
    for (const unsigned value : { 1U, 24U }) put(value, 2);
    for (int i = 0; i < 6; ++i) put(0, 4);
    writeFile(add("huge.bmp"), huge + std::string(64, 'x'));
    return files;
}

} // namespace miravex::test
