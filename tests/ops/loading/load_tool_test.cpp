#include "tests/ops/loading/picture_files.h"
#include "tests/ops/loading/plain_steps.h"
#include "tests/support/host_check.h"

#include <nlohmann/json.hpp>
#include <opencv2/imgcodecs.hpp>
#include <sys/wait.h>

#include <cstdlib>
#include <cstring>

namespace miravex::test {

namespace {

struct Ran {
    int status = -1;
    std::string output;
    std::string errors;
};

/// Runs `miravex load` with these words of a shell.
Ran load(const TemporaryFolder& folder, const std::string& words, const std::string& before = "")
{
    const char* tool = std::getenv("MIRAVEX_TOOL");
    if (!tool) throw std::runtime_error("MIRAVEX_TOOL is not set");
    const std::string output = folder.file("stdout");
    const std::string errors = folder.file("stderr");
    const std::string command = "cd " + folder.path().string() + " && " + before + " " + tool + " load "
        + words + " > " + output + " 2> " + errors;
    const int status = std::system(command.c_str());
    return { WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(output), readFile(errors) };
}

/// The floats of a .npy file whose header says `shape`.
std::vector<float> npy(const TemporaryFolder& folder, const std::string& name, const std::string& shape)
{
    const std::string bytes = readFile(folder.file(name));
    EXPECT_NE(bytes.find("'descr': '<f4', 'fortran_order': False, 'shape': (" + shape + ")"),
              std::string::npos)
        << bytes.substr(0, 120);
    std::vector<float> floats(bytes.size() > 256 ? (bytes.size() - 256) / sizeof(float) : 0);
    if (!floats.empty()) std::memcpy(floats.data(), bytes.data() + 256, floats.size() * sizeof(float));
    return floats;
}

/// a.jpg, b.jpg and in/c.jpg, good; cut.jpg truncated, text.jpg no picture.
class LoadTool : public ::testing::Test {
protected:
    LoadTool()
    {
        std::filesystem::create_directory(folder.file("in"));
        writeJpeg(folder.file("a.jpg"), scene(50, 60, 1), {});
        writeJpeg(folder.file("b.jpg"), scene(70, 60, 2), {});
        writeJpeg(folder.file("in/c.jpg"), scene(90, 60, 3), {});
        truncateFile(folder.file("a.jpg"), folder.file("cut.jpg"), 900);
        writeFile(folder.file("text.jpg"), "no picture");
    }

    [[nodiscard]] std::vector<float> plain(const std::vector<std::string>& names,
                                           const plain::Batch& batch = {
                                               .height = 20, .width = 30, .channelsLast = false }) const
    {
        std::vector<float> slots;
        for (const std::string& name : names) {
            std::vector<float> slot(batch.samples());
            EXPECT_TRUE(plain::load(folder.file(name), slot.data(), batch)) << name;
            slots.insert(slots.end(), slot.begin(), slot.end());
        }
        return slots;
    }

    TemporaryFolder folder;
};

} // namespace

TEST_F(LoadTool, WritesTheArrayOfThePlainSteps)
{
    const Ran ran = load(folder, "a.jpg b.jpg -o out.npy --size 30x20");
    EXPECT_EQ(ran.status, 0) << ran.errors;
    EXPECT_EQ(ran.output, "");
    EXPECT_EQ(npy(folder, "out.npy", "2, 3, 20, 30"), plain({ "a.jpg", "b.jpg" }));

    EXPECT_EQ(load(folder, "a.jpg -o last.npy --size 30x20 --layout channels-last").status, 0);
    EXPECT_EQ(npy(folder, "last.npy", "1, 20, 30, 3"),
              plain({ "a.jpg" }, { .height = 20, .width = 30, .channelsLast = true }));

    EXPECT_EQ(load(folder, "a.jpg -o gray.npy --size 30x20 --colour Grayscale --threads 1").status, 0);
    EXPECT_EQ(npy(folder, "gray.npy", "1, 1, 20, 30"),
              plain({ "a.jpg" },
                    { .height = 20, .width = 30, .channels = 1, .colorCode = 6, .channelsLast = false }));

    EXPECT_EQ(load(folder, "a.jpg -o big.npy").status, 0);
    EXPECT_EQ(npy(folder, "big.npy", "1, 3, 224, 224").size(), 3U * 224 * 224);
}

TEST_F(LoadTool, SubtractsAndDivides)
{
    EXPECT_EQ(load(folder, "a.jpg -o out.npy --size 30x20 --mean 0.5,0.25,0.125 --std 0.5,0.25,2").status, 0);
    const std::vector<float> plainSlot = plain({ "a.jpg" });
    const std::vector<float> slot = npy(folder, "out.npy", "1, 3, 20, 30");
    ASSERT_EQ(slot.size(), plainSlot.size());
    EXPECT_EQ(slot[0], (plainSlot[0] - 0.5F) * 2);
    EXPECT_EQ(slot[600], (plainSlot[600] - 0.25F) * 4);
    EXPECT_EQ(slot[1200], (plainSlot[1200] - 0.125F) * 0.5F);
}

TEST_F(LoadTool, TakesFoldersAndLists)
{
    std::filesystem::remove(folder.file("cut.jpg"));
    std::filesystem::remove(folder.file("text.jpg"));
    EXPECT_EQ(load(folder, ". -o out.npy --size 30x20").status, 0);
    const std::vector<float> all = plain({ "a.jpg", "b.jpg", "in/c.jpg" });
    EXPECT_EQ(npy(folder, "out.npy", "3, 3, 20, 30"), all);
    writeFile(folder.file("list.txt"), "# pictures\na.jpg\r\n\nb.jpg\nin/c.jpg");
    EXPECT_EQ(load(folder, "list.txt -o list.npy --size 30x20").status, 0);
    EXPECT_EQ(npy(folder, "list.npy", "3, 3, 20, 30"), all);
    EXPECT_EQ(load(folder, "- -o stdin.npy --size 30x20", "cat list.txt |").status, 0);
    EXPECT_EQ(npy(folder, "stdin.npy", "3, 3, 20, 30"), all);
}

TEST_F(LoadTool, ReportsFilesThatFailed)
{
    const Ran ran = load(folder, "a.jpg none.jpg text.jpg cut.jpg -o out.npy --size 30x20");
    EXPECT_EQ(ran.status, 4);
    EXPECT_NE(ran.errors.find("none.jpg: missing (position 1)"), std::string::npos) << ran.errors;
    EXPECT_NE(ran.errors.find("text.jpg: not an image (position 2)"), std::string::npos) << ran.errors;
    EXPECT_NE(ran.errors.find("cut.jpg: truncated (position 3)"), std::string::npos) << ran.errors;
    EXPECT_EQ(npy(folder, "out.npy", "4, 3, 20, 30").size(), 4U * 3 * 20 * 30);

    const Ran json = load(folder, "a.jpg none.jpg cut.jpg -o json.npy --size 30x20 --json");
    EXPECT_EQ(json.status, 4);
    const auto report = nlohmann::json::parse(json.output);
    EXPECT_EQ(report["files"], 3);
    EXPECT_EQ(report["shape"], (std::vector<int> { 3, 3, 20, 30 }));
    EXPECT_EQ(report["output"], "json.npy");
    EXPECT_EQ(report["status"], 4);
    ASSERT_EQ(report["failed"].size(), 2U);
    EXPECT_EQ(report["failed"][0]["file"], "none.jpg");
    EXPECT_EQ(report["failed"][0]["reason"], "missing");
    EXPECT_EQ(report["failed"][1]["position"], 2);
    EXPECT_GT(report["files_per_second"], 0);
}

TEST_F(LoadTool, LeavesOutOrStopsAtFailures)
{
    EXPECT_EQ(load(folder, "cut.jpg a.jpg none.jpg b.jpg -o out.npy --size 30x20 --on-error skip").status, 4);
    EXPECT_EQ(npy(folder, "out.npy", "2, 3, 20, 30"), plain({ "a.jpg", "b.jpg" }));
    EXPECT_EQ(load(folder, "a.jpg none.jpg -o fail.npy --on-error fail").status, 3);
    EXPECT_FALSE(std::filesystem::exists(folder.file("fail.npy")));
    EXPECT_EQ(load(folder, "text.jpg none.jpg -o none.npy").status, 3); // nothing could be read
    EXPECT_FALSE(std::filesystem::exists(folder.file("none.npy")));
}

TEST_F(LoadTool, OverwritesOnlyWhenForced)
{
    writeFile(folder.file("out.npy"), "precious");
    const Ran ran = load(folder, "a.jpg -o out.npy --size 30x20");
    EXPECT_EQ(ran.status, 2);
    EXPECT_NE(ran.errors.find("--force"), std::string::npos);
    EXPECT_EQ(readFile(folder.file("out.npy")), "precious");
    EXPECT_EQ(load(folder, "a.jpg -o out.npy --size 30x20 --force").status, 0);
    EXPECT_EQ(npy(folder, "out.npy", "1, 3, 20, 30"), plain({ "a.jpg" }));
}

TEST_F(LoadTool, ExplainsWhatItRefuses)
{
    for (const auto& [words, expected] : std::vector<std::pair<std::string, std::string>> {
             { "a.jpg -o out.npy --size 30", "size is \"30\"" },
             { "a.jpg -o out.npy --size 0x20", "width is 0" },
             { "a.jpg -o out.npy --colour rgb", "try RGB" },
             { "a.jpg -o out.npy --colour LAB --layout channels-last", "channels first" },
             { "a.jpg -o out.npy --layout channels-frist", "try channels-first" },
             { "a.jpg -o out.npy --mean 1,2", "mean is 2 numbers" },
             { "a.jpg -o out.npy --mean 1,,2", "mean is" },
             { "a.jpg -o out.npy --std 0", "std is" },
             { "a.jpg -o out.npy --on-error skipp", "try skip" },
             { "a.jpg -o out.png", "output is" },
             { "a.jpg", "output is" },
             { "-o out.npy", "usage" },
             { "a.jpg -o none/out.npy", "there is no folder none" } }) {
        const Ran ran = load(folder, words);
        EXPECT_EQ(ran.status, 2) << words << ": " << ran.errors;
        EXPECT_NE(ran.errors.find(expected), std::string::npos) << words << ": " << ran.errors;
    }
    EXPECT_EQ(load(folder, "none.txt -o out.npy").status, 3);
    std::filesystem::create_directory(folder.file("empty"));
    EXPECT_EQ(load(folder, "empty -o out.npy").status, 3);
    EXPECT_FALSE(std::filesystem::exists(folder.file("out.npy")));
    const Ran help = load(folder, "--help");
    EXPECT_EQ(help.status, 0);
    EXPECT_NE(help.output.find("--on-error"), std::string::npos);
}

TEST_F(LoadTool, EndsOnAnInterruptWithoutLeavings)
{
    // Minutes of work for one core, so that a second is too little for any machine.
    writeJpeg(folder.file("large.jpg"), scene(1000, 1000, 4), {});
    std::string list;
    for (int i = 0; i < 20000; ++i) list += "large.jpg\n";
    writeFile(folder.file("list.txt"), list);
    const Ran ran = load(folder, "list.txt -o out.npy --size 256x256", "timeout --preserve-status -s INT 1");
    EXPECT_EQ(ran.status, 130);
    EXPECT_FALSE(std::filesystem::exists(folder.file("out.npy")));
    for (const auto& entry : std::filesystem::directory_iterator(folder.path()))
        EXPECT_EQ(entry.path().string().find(".part"), std::string::npos) << entry.path();
}

} // namespace miravex::test
