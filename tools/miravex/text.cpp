#include "tools/miravex/text.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>

namespace miravex::tool {

namespace {

constexpr std::size_t indent = 2;
constexpr std::size_t leftWidth = 26;

std::size_t lineWidth()
{
    constexpr std::size_t usual = 100, least = 60, most = 120;
    winsize size {};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return usual;
    return std::clamp<std::size_t>(size.ws_col, least, most);
}

} // namespace

std::vector<std::string> wrapped(std::string_view text, std::size_t width)
{
    std::vector<std::string> lines;
    std::istringstream paragraphs { std::string(text) };
    for (std::string paragraph; std::getline(paragraphs, paragraph);) {
        std::string line(paragraph.substr(0, std::min(paragraph.find_first_not_of(' '), paragraph.size())));
        const std::size_t start = line.size();
        std::istringstream words(paragraph);
        for (std::string word; words >> word;) {
            if (line.size() > start && line.size() + 1 + word.size() > width) {
                lines.push_back(line);
                line.assign(start, ' ');
            }
            if (line.size() > start) line += ' ';
            line += word;
        }
        lines.push_back(line);
    }
    return lines;
}

void printEntry(std::string_view left, std::string_view right)
{
    const std::size_t column = indent + leftWidth + 1;
    std::string first = fmt::format("{:{}}{:<{}} ", "", indent, left, leftWidth);
    if (left.size() > leftWidth) {
        fmt::print("{:{}}{}\n", "", indent, left);
        first.assign(column, ' ');
    }
    for (const std::string& line : wrapped(right, lineWidth() - column)) {
        fmt::print("{}{}\n", first, line);
        first.assign(column, ' ');
    }
}

void printIndented(std::string_view text)
{
    for (const std::string& line : wrapped(text, lineWidth() - indent))
        fmt::print("{:{}}{}\n", "", indent, line);
}

} // namespace miravex::tool
