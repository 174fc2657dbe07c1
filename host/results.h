#pragma once

#include "host/call_view.h"
#include "host/objects.h"
#include "host/record.h"

#include <nlohmann/json.hpp>

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

/// A result as JSON: {"operation", "columns", "rows"} for tables, {"operation", "value"} for reals. Layouts
/// that are more than a table (contours, matches) have members of their own.
nlohmann::json jsonOf(const Operation& operation, const Result& result, const Value& value);

} // namespace miravex
