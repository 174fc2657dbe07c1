#pragma once

#include "catalog/record.h"
#include "host/results.h"
#include "tools/miravex/failure.h"

#include <optional>
#include <string>
#include <vector>

namespace miravex::tool {

/// A picture on the page.
struct Figure {
    std::string file; ///< relative to the page
    std::string caption;
};

/// What the gallery shows of one example.
struct Exhibit {
    const Operation* operation = nullptr;
    std::string title;
    std::string command;
    std::vector<Figure> inputs;
    std::vector<Figure> results;
    Layout layout = Layout::Plain; ///< how the result is to be read
    std::optional<Table> table; ///< of a result that is numbers
    std::vector<std::string> files; ///< the result itself, relative to the page
    std::string outcome; ///< the result in words
    std::optional<double> milliseconds; ///< how long the call took, where that is told
    Notes notes;
    std::string skipped; ///< why there is nothing to show; not the operation's fault
    std::string failed; ///< what went wrong
};

/// The whole page: self-contained but for the pictures.
std::string pageOf(const std::vector<Exhibit>& exhibits);

/// The same as JSON, for documentation.
nlohmann::ordered_json jsonOf(const std::vector<Exhibit>& exhibits);

} // namespace miravex::tool
