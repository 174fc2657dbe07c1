#include "catalog/catalog.h"
#include "tools/miravex/commands.h"

#include <fmt/format.h>

#include <array>

namespace miravex::tool {

namespace {

/// Text for roff: dashes that stay dashes, no accidental requests.
std::string roff(std::string_view text)
{
    std::string result = text.starts_with('.') || text.starts_with('\'') ? "\\&" : "";
    for (const char c : text) {
        if (c == '-')
            result += "\\-";
        else if (c == '\\')
            result += "\\e";
        else
            result += c;
    }
    return result;
}

void section(const char* title) { fmt::print(".SH {}\n", title); }

void entry(std::string_view term, std::string_view text)
{
    fmt::print(".TP\n.B {}\n{}\n", roff(term), roff(text));
}

void printCommands()
{
    section("COMMANDS");
    for (const Command& command : commands()) entry(command.usage, command.summary);
}

void printOptions()
{
    section("OPTIONS");
    fmt::print("Every operation has options of its own; {} tells them.\nCommon to all:\n",
               roff("miravex help OPERATION"));
    constexpr std::array<std::pair<const char*, const char*>, 11> options { {
        { "-o FILE", "Where the result goes, its form by extension; - is standard output." },
        { "--format EXT", "The form of what goes to standard output, or of a batch's results." },
        { "--overlay FILE",
          "A picture with keypoints, lines, contours, boxes, flow ... drawn over the input." },
        { "--type TYPE", "Pictures as bit, byte, bit16, real32 or real samples before the call." },
        { "--gray", "Colour pictures as gray ones before the call." },
        { "--max-frames N", "At most N frames of a sequence." },
        { "--threads N", "Threads that OpenCV uses; 0 for none but the caller's." },
        { "--force", "Overwrite files that exist." },
        { "--json", "Reports and errors as JSON." },
        { "--quiet", "No notes on standard error." },
        { "--version", "The version of the tool, the host interface and OpenCV." },
    } };
    for (const auto& [term, text] : options) entry(term, text);
}

void printFiles()
{
    section("PICTURES AND NUMBERS");
    fmt::print(
        "Pictures are given by position, in the order of the operation's arguments; {} is standard input.\n"
        "Several files, a multi{}page TIFF or a video make a sequence where one is wanted.\n"
        "Whatever an operation cannot take is converted where that is plain (colour to gray, real to byte),\n"
        "and a note on standard error says so.\n.PP\n"
        "Lists and tables of numbers are written as 1,2,3 or 1,0,0;0,1,0, or name a .npy, .csv or .json "
        "file.\n"
        "Results that are numbers go to standard output as JSON with named columns.\n",
        roff("-"), roff("-"));
}

void printStatuses()
{
    section("EXIT STATUS");
    for (const auto& [status, text] : std::initializer_list<std::pair<const char*, const char*>> {
             { "0", "Done." },
             { "1", "The operation failed." },
             { "2", "The command line is wrong, or a value is outside of what is accepted." },
             { "3", "An input cannot be read." },
             { "4", "Some files of a batch failed." },
             { "130", "Interrupted." } })
        entry(status, text);
}

void printOperations()
{
    section("OPERATIONS");
    for (const Operation* operation : catalog())
        entry(kebabCase(operation->name), fmt::format("{}.", operation->summary));
}

} // namespace

ExitStatus printManual()
{
    fmt::print(".TH MIRAVEX 1 \"\" \"Miravex {}\" \"User Commands\"\n", MIRAVEX_VERSION);
    section("NAME");
    fmt::print("miravex {} image operations from the command line\n", roff("-"));
    section("SYNOPSIS");
    fmt::print(".B miravex\n.I OPERATION PICTURES\n{}\n.br\n.B miravex\n.I COMMAND\n\\&...\n",
               roff("... [OPTIONS] [-o FILE]"));
    section("DESCRIPTION");
    fmt::print("Runs any operation of the library libmiravex.so on picture files, as a host kernel would.\n"
               "Operations are named as the library exports them (MedianFilter) or in small letters "
               "({}).\n",
               roff("median-filter"));
    printCommands();
    printOptions();
    printFiles();
    printStatuses();
    printOperations();
    section("ENVIRONMENT");
    entry("MIRAVEX_LIBRARY", "The library to load instead of the one beside the tool.");
    entry("MIRAVEX_TEST_DATA", "A folder of further sample inputs for the gallery.");
    section("EXAMPLES");
    for (const char* line : { "miravex median-filter photo.jpg --radius 3 -o smooth.png",
                              "miravex fast photo.jpg --overlay corners.png",
                              "miravex batch pyr-down photos/ -o half/", "miravex gallery gallery/" })
        fmt::print(".PP\n.B {}\n", roff(line));
    return ExitStatus::Done;
}

} // namespace miravex::tool
