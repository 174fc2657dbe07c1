#include "host/batch.h"
#include "tests/ops/loading/picture_files.h"
#include "tests/ops/loading/plain_steps.h"
#include "tests/support/host_check.h"

#include <opencv2/imgcodecs.hpp>

#include <cmath>
#include <cstring>

namespace miravex::test {

namespace {

std::vector<std::string> reasonsOf(const BatchReport& report)
{
    std::vector<std::string> reasons;
    for (const FailedFile& file : report.failed) reasons.emplace_back(file.reason());
    return reasons;
}

std::vector<int64_t> positionsOf(const BatchReport& report)
{
    std::vector<int64_t> positions;
    for (const FailedFile& file : report.failed) positions.push_back(file.position);
    return positions;
}

/// Good, missing, good, text, good, truncated, good.
struct MixedBatch {
    TemporaryFolder folder;
    std::vector<std::string> paths;
    BatchOptions options { .height = 20, .width = 30 };

    MixedBatch()
    {
        for (const char* name : { "a.jpg", "missing.jpg", "b.jpg", "text.jpg", "c.jpg", "cut.jpg", "d.jpg" })
            paths.push_back(folder.file(name));
        for (const int i : { 0, 2, 4, 6 })
            writeJpeg(paths[static_cast<std::size_t>(i)], scene(60, 50, static_cast<unsigned>(i + 1)), {});
        writeFile(paths[3], "no picture");
        truncateFile(paths[0], paths[5], readFile(paths[0]).size() * 2 / 3);
    }

    [[nodiscard]] std::vector<float> plain(const std::vector<std::size_t>& files) const
    {
        const plain::Batch batch { .height = 20, .width = 30, .channelsLast = options.channelsLast };
        std::vector<float> slots;
        for (const std::size_t file : files) {
            std::vector<float> slot(batch.samples());
            EXPECT_TRUE(plain::load(paths[file], slot.data(), batch));
            slots.insert(slots.end(), slot.begin(), slot.end());
        }
        return slots;
    }
};

} // namespace

TEST(PictureFile, KnowsWhatIsWrongWithAFile)
{
    const TemporaryFolder folder;
    picturesOfEveryKind(folder);
    const auto state = [&](const std::string& name) { return inspectPictureFile(folder.file(name)); };
    for (const char* name : { "420.jpg", "progressive.jpg", "gray.jpg", "restart.jpg", "cmyk.jpg",
                              "exif6.jpg", "xmp.jpg", "trailing.jpg", "tiny.jpg", "color.png", "deep.png",
                              "color.tiff", "deep.tiff", "color.bmp", "gray.bmp", "jpeg-named.png" })
        EXPECT_EQ(nameOf(state(name)), "whole") << name;
    for (const char* name : { "cut300.jpg", "cut-progressive.jpg", "cut.png", "huge.bmp" }) {
        if (name == std::string("huge.bmp")) continue; // its stated size fits, its pixels do not
        EXPECT_EQ(state(name), FileState::Truncated) << name;
    }
    EXPECT_EQ(state("cut2.jpg"), FileState::NotAnImage); // too short to tell
    EXPECT_EQ(state("text.jpg"), FileState::NotAnImage);
    EXPECT_EQ(state("empty.jpg"), FileState::Empty);
    EXPECT_EQ(state("missing.jpg"), FileState::Missing);
    EXPECT_EQ(inspectPictureFile(folder.path().string()), FileState::NotAFile);
    EXPECT_EQ(inspectPictureFile("/dev/null"), FileState::NotAFile);
    EXPECT_EQ(inspectPictureFile(""), FileState::Missing);
    EXPECT_EQ(inspectPictureFile(folder.file("420.jpg") + "/inside"), FileState::Missing);
}

TEST(PictureFile, SeesTheEndOfEveryFormatCutAnywhere)
{
    const TemporaryFolder folder;
    const cv::Mat picture = scene(40, 50);
    for (const char* name : { "p.jpg", "p.png", "p.bmp", "p.tiff", "p.webp" }) {
        const std::string whole = folder.file(name);
        ASSERT_TRUE(cv::imwrite(whole, picture));
        EXPECT_EQ(inspectPictureFile(whole), FileState::Whole) << name;
        const std::string bytes = readFile(whole);
        const std::string cut = folder.file(std::string("cut-") + name);
        for (std::size_t size = 40; size < bytes.size(); size += bytes.size() / 50 + 1) {
            writeFile(cut, bytes.substr(0, size));
            EXPECT_EQ(inspectPictureFile(cut), FileState::Truncated) << name << " of " << size << " bytes";
        }
    }
}

TEST(PictureFile, IsNotFooledByAThumbnail)
{
    const TemporaryFolder folder;
    const std::string thumbnail = folder.file("thumbnail.jpg");
    writeJpeg(thumbnail, scene(20, 20), {});
    const std::string path = folder.file("photo.jpg");
    writeJpeg(path, scene(200, 200), { .comment = "Exif" + readFile(thumbnail) });
    EXPECT_EQ(inspectPictureFile(path), FileState::Whole);
    truncateFile(path, path + ".cut", readFile(path).size() / 2);
    EXPECT_EQ(inspectPictureFile(path + ".cut"), FileState::Truncated);
}

TEST(PictureFile, SurvivesAnyBytes)
{
    const TemporaryFolder folder;
    const cv::Mat picture = scene(30, 30);
    const std::string path = folder.file("damaged");
    cv::RNG random(9);
    for (const char* name : { "p.jpg", "p.png", "p.bmp", "p.tiff", "p.webp" }) {
        cv::imwrite(folder.file(name), picture);
        const std::string bytes = readFile(folder.file(name));
        for (int round = 0; round < 200; ++round) {
            std::string damaged = bytes;
            for (int i = 0; i < 6; ++i)
                damaged[static_cast<std::size_t>(
                    random.uniform(4, std::min<int>(400, static_cast<int>(bytes.size()))))] =
                    static_cast<char>(random.uniform(0, 256));
            writeFile(path, damaged);
            inspectPictureFile(path);
        }
    }
}

TEST(Batch, FillsTheSlotsOfFailedFiles)
{
    MixedBatch batch;
    std::vector<float> slots(7 * static_cast<std::size_t>(batch.options.samples()), 9);
    const BatchReport report = loadBatch(library(), batch.paths, batch.options, slots.data());
    EXPECT_EQ(report.files, 7);
    EXPECT_EQ(report.slots, 7);
    EXPECT_FALSE(report.stopped);
    EXPECT_EQ(positionsOf(report), (std::vector<int64_t> { 1, 3, 5 }));
    EXPECT_EQ(reasonsOf(report), (std::vector<std::string> { "missing", "not an image", "truncated" }));
    const auto samples = static_cast<std::size_t>(batch.options.samples());
    for (const std::size_t file : { 0U, 2U, 4U, 5U, 6U }) { // the truncated one shows what it has
        const std::vector<float> expected = batch.plain({ file });
        EXPECT_EQ(std::memcmp(&slots[file * samples], expected.data(), samples * sizeof(float)), 0) << file;
    }
    EXPECT_NE(slots[samples], 9);
}

TEST(Batch, LeavesFailedFilesOut)
{
    for (const int64_t chunkBytes : { int64_t { 1 }, int64_t { 1 } << 30 }) {
        MixedBatch batch;
        batch.options.onError = OnError::Skip;
        batch.options.chunkBytes = chunkBytes;
        batch.options.channelsLast = true;
        // More files than the smallest chunk, so that gaps are closed across chunks.
        for (int i = 0; i < 30; ++i) batch.paths.push_back(batch.paths[static_cast<std::size_t>(i % 7)]);
        std::vector<std::size_t> good;
        for (std::size_t i = 0; i < batch.paths.size(); ++i)
            if (i % 7 % 2 == 0) good.push_back(i);
        std::vector<float> slots(batch.paths.size() * static_cast<std::size_t>(batch.options.samples()));
        const BatchReport report = loadBatch(library(), batch.paths, batch.options, slots.data());
        EXPECT_EQ(report.slots, static_cast<int64_t>(good.size()));
        const std::vector<float> expected = batch.plain(good);
        EXPECT_EQ(std::memcmp(slots.data(), expected.data(), expected.size() * sizeof(float)), 0);
    }
}

TEST(Batch, StopsAtAFailureWhenAskedTo)
{
    MixedBatch batch;
    batch.options.onError = OnError::Fail;
    batch.options.chunkBytes = 1; // 16 files a chunk
    for (int i = 0; i < 100; ++i) batch.paths.push_back(batch.paths[0]);
    std::vector<float> slots(batch.paths.size() * static_cast<std::size_t>(batch.options.samples()));
    const BatchReport report = loadBatch(library(), batch.paths, batch.options, slots.data());
    EXPECT_TRUE(report.stopped);
    EXPECT_EQ(report.files, 16);
}

TEST(Batch, TellsItsProgressAndCanBeStopped)
{
    MixedBatch batch;
    batch.options.chunkBytes = 1;
    batch.paths.assign(40, batch.paths[0]);
    std::vector<float> slots(batch.paths.size() * static_cast<std::size_t>(batch.options.samples()));
    std::vector<int64_t> heard;
    std::vector<int64_t> finished;
    BatchReport report = loadBatch(
        library(), batch.paths, batch.options, slots.data(),
        [&](const BatchProgress& now) {
            EXPECT_EQ(now.files, 40);
            heard.push_back(now.done);
            return true;
        },
        [&](int64_t first, int64_t count) { finished.push_back(first + count); });
    EXPECT_EQ(heard, (std::vector<int64_t> { 16, 32, 40 }));
    EXPECT_EQ(finished, heard);
    EXPECT_FALSE(report.stopped);
    report = loadBatch(library(), batch.paths, batch.options, slots.data(),
                       [](const BatchProgress& now) { return now.done < 32; });
    EXPECT_TRUE(report.stopped);
    EXPECT_EQ(report.files, 32);
}

TEST(Batch, SpreadsMeanAndDeviationOverASlot)
{
    const TemporaryFolder folder;
    const std::vector<std::string> paths { folder.file("p.png") };
    cv::imwrite(paths[0], cv::Mat(8, 9, CV_8UC3, cv::Scalar(51, 102, 204)));
    for (const bool channelsLast : { true, false }) {
        BatchOptions options { .height = 8, .width = 9, .channelsLast = channelsLast };
        options.mean = { 0.5F, 0.25F, 0.125F };
        options.deviation = { 0.5F, 0.25F, 2.0F };
        std::vector<float> slot(static_cast<std::size_t>(options.samples()));
        loadBatch(library(), paths, options, slot.data());
        const std::size_t step = channelsLast ? 1 : 72;
        EXPECT_FLOAT_EQ(slot[0], (0.8F - 0.5F) / 0.5F);
        EXPECT_FLOAT_EQ(slot[step], (0.4F - 0.25F) / 0.25F);
        EXPECT_FLOAT_EQ(slot[2 * step], (0.2F - 0.125F) / 2.0F);

        options.mean.assign(slot.size(), 0.0F);
        options.mean[7] = 1;
        options.deviation = { 2 };
        loadBatch(library(), paths, options, slot.data());
        const float there = channelsLast ? 0.4F : 0.8F;
        EXPECT_FLOAT_EQ(slot[7], (there - 1) / 2);
    }
}

TEST(Batch, ExplainsWhatItRefuses)
{
    const auto refused = [](const BatchOptions& options) {
        const auto refusals = check(options);
        return refusals.empty() ? std::string() : refusals.front().argument;
    };
    EXPECT_EQ(refused({}), "");
    EXPECT_EQ(refused({ .height = 0 }), "height");
    EXPECT_EQ(refused({ .width = -4 }), "width");
    EXPECT_EQ(refused({ .height = 1 << 20, .width = 1 << 20 }), "size");
    EXPECT_EQ(refused({ .height = INT64_MAX, .width = INT64_MAX }),
              "size"); // of which the loader's record has the word
    EXPECT_EQ(check({ .width = int64_t { 1 } << 31 }).front().expected, "at most 2^30 rows and columns");
    EXPECT_EQ(refused({ .colorSpace = "rgb" }), "colour");
    EXPECT_EQ(refused({ .channelsLast = true, .colorSpace = "LAB" }), "colour");
    EXPECT_EQ(refused({ .channelsLast = true, .colorSpace = "Grayscale" }), "");
    EXPECT_EQ(refused({ .mean = { 1, 2 } }), "mean");
    EXPECT_EQ(refused({ .mean = { NAN } }), "mean");
    EXPECT_EQ(refused({ .deviation = { 0 } }), "std");
    EXPECT_EQ(refused({ .colorSpace = "Grayscale", .mean = { 1, 2, 3 } }), "mean");
    EXPECT_EQ(check({ .colorSpace = "rgb" }).front().suggestion, "RGB");
    EXPECT_THROW(loadBatch(library(), {}, { .height = 0 }, nullptr), std::invalid_argument);
    EXPECT_EQ(loadBatch(library(), {}, {}, nullptr).files, 0);
}

} // namespace miravex::test
