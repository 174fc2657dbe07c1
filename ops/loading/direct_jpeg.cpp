#include "ops/loading/direct_jpeg.h"

#include <algorithm>
#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

// libjpeg wants size_t and FILE declared before.
#include <jpeglib.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace miravex::importops {

namespace {

/// Files beyond this are read piecemeal, by OpenCV.
constexpr off_t largestFile = off_t { 1 } << 28;

/// OpenCV's own limit; the limits for one side are beyond what a JPEG can say.
constexpr int64_t mostPixels = int64_t { 1 } << 30;

constexpr int exifMarker = JPEG_APP0 + 1;

struct File {
    const unsigned char* data = nullptr;
    std::size_t size = 0;
};

class Descriptor {
public:
    explicit Descriptor(const std::string& path)
        : number_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) // a pipe would wait for its writer
    {
    }
    ~Descriptor()
    {
        if (number_ >= 0) close(number_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    /// Bytes read, up to `count`; fewer at the end of the file or after an error.
    std::size_t read(unsigned char* target, std::size_t count) const
    {
        std::size_t done = 0;
        while (done < count) {
            const ssize_t got = ::read(number_, target + done, count - done);
            if (got <= 0) break;
            done += static_cast<std::size_t>(got);
        }
        return done;
    }
    /// Size of a regular file of a size that is read at once, or 0.
    [[nodiscard]] std::size_t size() const
    {
        struct stat facts { };
        if (number_ < 0 || fstat(number_, &facts) != 0 || !S_ISREG(facts.st_mode)) return 0;
        return facts.st_size <= largestFile ? static_cast<std::size_t>(facts.st_size) : 0;
    }

private:
    int number_;
};

/// The whole file, or nothing when it does not start like a JPEG.
File readJpegFile(const std::string& path, GrowingBuffer& buffer)
{
    constexpr std::size_t headBytes = 4096;
    const Descriptor descriptor(path);
    const std::size_t size = descriptor.size();
    if (size < 3) return {};
    unsigned char* data = buffer.atLeast(size);
    std::size_t got = descriptor.read(data, std::min(size, headBytes));
    if (got < 3 || data[0] != 0xFF || data[1] != 0xD8 || data[2] != 0xFF) return {};
    if (got == headBytes) got += descriptor.read(data + got, size - got);
    return { data, got };
}

/// What stands in an EXIF block about orientation.
class ExifBlock {
public:
    ExifBlock(const unsigned char* data, std::size_t size)
        : data_(data)
        , size_(size)
        , bigEndian_(size > 0 && data[0] == 'M')
    {
    }

    /// True when no reader of this block would turn the picture: it is no EXIF at all, or its first directory
    /// is well formed and holds no orientation but 1.
    [[nodiscard]] bool leavesUpright() const
    {
        constexpr std::size_t entryBytes = 12;
        constexpr unsigned orientation = 0x0112;
        if (size_ < 2 || data_[0] != data_[1] || (data_[0] != 'I' && data_[0] != 'M')) return true;
        if (size_ < 8) return false;
        const std::size_t directory = number(4, 4);
        if (directory + 2 > size_) return false;
        const std::size_t entries = number(directory, 2);
        if (directory + 2 + entries * entryBytes > size_) return false;
        for (std::size_t i = 0; i < entries; ++i) {
            const std::size_t entry = directory + 2 + i * entryBytes;
            if (number(entry, 2) == orientation && number(entry + 8, 2) != 1) return false;
        }
        return true;
    }

private:
    [[nodiscard]] std::size_t number(std::size_t at, std::size_t bytes) const
    {
        std::size_t value = 0;
        for (std::size_t i = 0; i < bytes; ++i)
            value = (value << 8U) | data_[at + (bigEndian_ ? i : bytes - 1 - i)];
        return value;
    }

    const unsigned char* data_;
    std::size_t size_;
    bool bigEndian_;
};

/// Lines of decoded pixels that each start 8 bytes behind a multiple of 64.
struct Lines {
    unsigned char* first = nullptr;
    std::size_t step = 0;

    static Lines in(GrowingBuffer& buffer, std::size_t rowBytes, std::size_t rows)
    {
        constexpr std::size_t alignment = 64;
        constexpr std::size_t offAlignment = 8;
        // The space behind a row takes what a vector writes beyond its end.
        const std::size_t step = (rowBytes + 2 * alignment) / alignment * alignment;
        unsigned char* memory = buffer.atLeast(step * rows + 2 * alignment);
        const std::size_t past = reinterpret_cast<std::uintptr_t>(memory) % alignment;
        return { memory + (alignment - past) + offAlignment, step };
    }
};

/// Marks the rows that a bilinear resize from `rows` to `targetRows` rows reads, with OpenCV's arithmetic.
void markWantedRows(std::vector<unsigned char>& wanted, int rows, int targetRows)
{
    wanted.assign(static_cast<std::size_t>(rows), 0);
    const double scale = 1.0 / (static_cast<double>(targetRows) / rows);
    for (int y = 0; y < targetRows; ++y) {
        const int above = cvFloor(static_cast<float>((y + 0.5) * scale - 0.5));
        for (const int row : { above, above + 1 })
            wanted[static_cast<std::size_t>(std::clamp(row, 0, rows - 1))] = 1;
    }
}

/// libjpeg's error handling by setjmp. Only this class is on the stack between setjmp and longjmp, and it is
/// destroyed after both, so that nothing is skipped. Warnings count as errors.
class Decoder {
public:
    Decoder()
    {
        state_.err = jpeg_std_error(&errors_.base);
        errors_.base.error_exit = [](j_common_ptr common) {
            longjmp(reinterpret_cast<Errors*>(common->err)->escape, 1);
        };
        errors_.base.emit_message = [](j_common_ptr common, int level) {
            if (level < 0) common->err->error_exit(common);
        };
        errors_.base.output_message = [](j_common_ptr) {};
    }
    ~Decoder() { jpeg_destroy_decompress(&state_); }
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    /// Reads the header; false when the picture is none for the direct path.
    bool begin(File file, bool color)
    {
        if (setjmp(errors_.escape) != 0) return false;
        jpeg_create_decompress(&state_);
        jpeg_mem_src(&state_, file.data, file.size);
        jpeg_save_markers(&state_, exifMarker, 0xFFFF);
        jpeg_read_header(&state_, TRUE);
        if (!isPlain() || !isUpright()) return false;
        state_.out_color_space = color ? JCS_EXT_BGR : JCS_GRAYSCALE;
        jpeg_start_decompress(&state_);
        return true;
    }

    [[nodiscard]] int width() const { return static_cast<int>(state_.output_width); }
    [[nodiscard]] int height() const { return static_cast<int>(state_.output_height); }

    bool readAll(Lines lines)
    {
        if (setjmp(errors_.escape) != 0) return false;
        constexpr JDIMENSION most = 16;
        while (state_.output_scanline < state_.output_height) {
            JSAMPROW rows[most];
            for (JDIMENSION i = 0; i < most; ++i)
                rows[i] = lines.first + (state_.output_scanline + i) * lines.step;
            const JDIMENSION left = state_.output_height - state_.output_scanline;
            jpeg_read_scanlines(&state_, rows, std::min(most, left));
        }
        return finish();
    }

    /// Puts the wanted rows in their places and passes over the others.
    bool readWanted(Lines lines, const unsigned char* wanted)
    {
        if (setjmp(errors_.escape) != 0) return false;
        while (state_.output_scanline < state_.output_height) {
            const JDIMENSION row = state_.output_scanline;
            JDIMENSION next = row;
            // The last row is always read: skipping to the end would leave damage there unseen.
            while (!wanted[next] && next + 1 < state_.output_height) ++next;
            if (next > row) {
                jpeg_skip_scanlines(&state_, next - row);
                continue;
            }
            JSAMPROW target = lines.first + row * lines.step;
            jpeg_read_scanlines(&state_, &target, 1);
        }
        return finish();
    }

    /// True where jpeg_skip_scanlines is exact. It miscounts when chroma has half the rows and yet is not
    /// interpolated: in gray output, and in pictures too narrow for interpolation.
    [[nodiscard]] bool canSkipRows() const
    {
        if (state_.num_components != 3 || state_.out_color_space != JCS_EXT_BGR) return false;
        const jpeg_component_info* part = state_.comp_info;
        const bool plainChroma = part[1].h_samp_factor == 1 && part[1].v_samp_factor == 1
            && part[2].h_samp_factor == 1 && part[2].v_samp_factor == 1;
        if (!plainChroma || part[0].h_samp_factor > 2) return false;
        if (part[0].v_samp_factor == 1) return true;
        return part[0].v_samp_factor == 2 && part[0].h_samp_factor == 2 && part[1].downsampled_width > 2;
    }

private:
    struct Errors {
        jpeg_error_mgr base; // first, so that libjpeg's pointer is ours
        std::jmp_buf escape;
    };

    bool finish()
    {
        jpeg_finish_decompress(&state_);
        return true;
    }

    [[nodiscard]] bool isPlain() const
    {
        const bool gray = state_.num_components == 1 && state_.jpeg_color_space == JCS_GRAYSCALE;
        const bool colored = state_.num_components == 3 && state_.jpeg_color_space == JCS_YCbCr;
        // Without tables of its own a frame of a film takes OpenCV's.
        bool hasTables = false;
        for (const JHUFF_TBL* table : state_.ac_huff_tbl_ptrs) hasTables = hasTables || table;
        return (gray || colored) && hasTables
            && static_cast<int64_t>(state_.image_width) * state_.image_height <= mostPixels;
    }

    [[nodiscard]] bool isUpright() const
    {
        constexpr std::size_t prefix = 6;
        for (const jpeg_marker_struct* marker = state_.marker_list; marker; marker = marker->next)
            if (marker->marker == exifMarker && marker->data_length > prefix
                && !ExifBlock(marker->data + prefix, marker->data_length - prefix).leavesUpright())
                return false;
        return true;
    }

    jpeg_decompress_struct state_ {};
    Errors errors_ {};
};

/// OpenCV's limits can be lowered from outside; then they are its own to enforce.
bool limitsAreLowered()
{
    static const bool lowered = std::getenv("OPENCV_IO_MAX_IMAGE_WIDTH")
        || std::getenv("OPENCV_IO_MAX_IMAGE_HEIGHT") || std::getenv("OPENCV_IO_MAX_IMAGE_PIXELS");
    return lowered;
}

} // namespace

cv::Mat readJpegDirectly(const std::string& path, bool color, int targetRows, Scratch& scratch)
{
    if (limitsAreLowered()) return {};
    const File file = readJpegFile(path, scratch.file);
    if (!file.data) return {};
    Decoder decoder;
    if (!decoder.begin(file, color)) return {};

    const int rows = decoder.height();
    const std::size_t rowBytes = static_cast<std::size_t>(decoder.width()) * (color ? 3U : 1U);
    const Lines lines = Lines::in(scratch.pixels, rowBytes, static_cast<std::size_t>(rows));
    // From a third of the rows on, a bilinear resize leaves out whole rows.
    const bool skips = targetRows > 0 && rows / 3 >= targetRows && decoder.canSkipRows();
    if (skips) markWantedRows(scratch.wantedRows, rows, targetRows);
    const bool read = skips ? decoder.readWanted(lines, scratch.wantedRows.data()) : decoder.readAll(lines);
    if (!read) return {};
    return { rows, decoder.width(), color ? CV_8UC3 : CV_8UC1, lines.first, lines.step };
}

} // namespace miravex::importops
