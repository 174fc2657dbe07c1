#include "catalog/catalog.h"

#include <fmt/format.h>

#include <fstream>
#include <iterator>
#include <string>

// Writes docs/limits.md from the catalogue, or compares it (--check): generate_limits FILE [--check]

namespace {

constexpr std::string_view head = R"(# Limits

What operations refuse or treat in a way of their own, beside the bounds of their arguments (`miravex help
OPERATION` tells those). Refused are calls that can't succeed, or that would crash OpenCV, keep it busy without
end or exhaust the memory of the host; every refusal is status 6 and leaves the result slot alone.

This page is generated from the catalogue by `scripts/generate`; a test compares them.
)";

std::string page()
{
    using namespace miravex;
    std::string text(head);
    for (const Room& room : rooms()) {
        std::string section;
        for (const Operation* operation : catalog()) {
            if (operation->room != &room || operation->limits.empty()) continue;
            section += fmt::format("\n### {}\n\n", operation->name);
            for (const Text& limit : operation->limits) section += fmt::format("- {}\n", limit.str());
        }
        if (!section.empty()) text += fmt::format("\n## {}\n{}", room.title, section);
    }
    return text;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 2) {
        fmt::print(stderr, "usage: generate_limits FILE [--check]\n");
        return 2;
    }
    const std::string wanted = page();
    if (argc == 2) {
        std::ofstream(argv[1]) << wanted;
        return 0;
    }
    std::ifstream file(argv[1]);
    const std::string found(std::istreambuf_iterator<char>(file), {});
    if (found == wanted) return 0;
    fmt::print(stderr, "{} is not what the catalogue says; run scripts/generate\n", argv[1]);
    return 1;
}
