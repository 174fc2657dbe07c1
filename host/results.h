#pragma once

#include "catalog/record.h"
#include "host/objects.h"

#include <nlohmann/json.hpp>

#include <array>
#include <string>
#include <vector>

namespace miravex {

/// The record's result that a call with these values has: the first whose condition holds.
const Result& resultOf(const Operation& operation, std::span<const Value> values);

/// Rows of numbers with named columns: how tensors are shown, saved and handed to Python.
struct Table {
    std::vector<std::string> columns;
    std::vector<std::vector<double>> rows;
};

/// A tensor as a table by its layout: flat lists are regrouped, headers (counts) dropped, further dimensions
/// folded into rows. Columns without a name of their own are called c0, c1, ...
Table tableOf(Layout layout, const Tensor& tensor);

/// One traced border: its points (column, and row from the bottom, from 0) and its neighbours in the
/// hierarchy as positions from 0, -1 for none.
struct TracedContour {
    std::vector<std::array<int64_t, 2>> points;
    int64_t next = -1;
    int64_t previous = -1;
    int64_t child = -1;
    int64_t parent = -1;
};

/// A result of Layout::Contours taken apart. Throws std::invalid_argument for a list that is none.
std::vector<TracedContour> contoursOf(const Tensor& tensor);

/// The steps of each contour of a result of Layout::ChainCodes; throws likewise.
std::vector<std::vector<int64_t>> chainCodesOf(const Tensor& tensor);

/// Query and train rows, from 1, of a result of Layout::Matches, best first within a query; throws likewise.
struct MatchedPair {
    int64_t query = 0;
    int64_t train = 0;
};
std::vector<MatchedPair> matchesOf(const Tensor& tensor);

/// A result as JSON: {"operation", "columns", "rows"} for tables, {"operation", "value"} for reals, and
/// {"operation", "contours"} for contours, each with its points and neighbours or with its codes.
nlohmann::json jsonOf(const Operation& operation, const Result& result, const Value& value);

} // namespace miravex
