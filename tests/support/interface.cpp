#include "tests/support/interface.h"

#include "catalog/catalog.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

namespace miravex::test {

namespace {

std::string lineOf(const Operation& operation)
{
    std::vector<std::string_view> kinds;
    for (const Argument& argument : operation.arguments) kinds.push_back(nameOf(argument.kind));
    std::set<std::string_view> results;
    for (const Result& result : operation.results) results.insert(nameOf(result.kind));
    return fmt::format("{}({}) -> {} : {}\n", operation.name, fmt::join(kinds, ", "),
                       fmt::join(results, " or "), kebabCase(operation.name));
}

} // namespace

std::string interfaceText()
{
    std::string text =
        "# Every operation: its export without opencv_, the kinds of its arguments in order, the kind of\n"
        "# its result, and its name in the tool. Written by scripts/generate; the tests compare the\n"
        "# library's exports, the catalogue and the Python package with it.\n";
    for (const Operation* operation : catalog()) text += lineOf(*operation);
    return text;
}

std::string keptInterface()
{
    std::ifstream file(MIRAVEX_INTERFACE_FILE);
    return { std::istreambuf_iterator<char>(file), {} };
}

std::vector<ListedOperation> listedOperations()
{
    std::vector<ListedOperation> listed;
    std::istringstream lines(keptInterface());
    for (std::string line; std::getline(lines, line);)
        if (!line.starts_with('#'))
            listed.push_back({ line.substr(0, line.find('(')), line, line.substr(line.rfind(' ') + 1) });
    return listed;
}

} // namespace miravex::test
