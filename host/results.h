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

/// The columns of layouts whose elements are rows as they stand, `width` numbers to a row; what has no name
/// of its own is called c0, c1, ..., of descriptors d0, d1, ...
std::vector<std::string> columnsOf(Layout layout, std::size_t width);

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

/// A named part of a result: a column of a table, or an array of further dimensions. It lies within a tensor
/// that the part keeps alive. Parts of one table share a group and a length; a part that is named like its
/// group stands for itself.
struct Part {
    std::string group;
    std::string name;
    TensorPointer tensor;
    std::size_t first = 0; ///< its first element
    std::vector<int64_t> sizes;
    std::vector<int64_t> steps; ///< in elements
};

/// The parts of a result by its layout; nothing is copied but what the packed lists say by their order alone.
/// Flows have rows x columns x pairs. Contours are numbered from `firstContour`. Throws std::invalid_argument
/// for a packed list that is none.
std::vector<Part> partsOf(Layout layout, const TensorPointer& tensor, int64_t firstContour = 0);

/// A result as JSON: {"operation", "columns", "rows"} for tables, {"operation", "value"} for reals, and
/// {"operation", "contours"} for contours, each with its points and neighbours or with its codes.
nlohmann::json jsonOf(const Operation& operation, const Result& result, const Value& value);

} // namespace miravex
