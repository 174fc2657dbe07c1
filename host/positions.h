#pragma once

#include "catalog/record.h"
#include "host/arguments.h"
#include "host/objects.h"

/// Positions of the library (x to the right, y upward from the bottom edge, pixel centres at halves, with a
/// few results that differ) and of matrices: columns and rows from 1 at the top left, pixel centres at whole
/// numbers, y downward. `rows` is the number of rows of the picture that the positions are in.
namespace miravex {

/// Rewrites what is positional in a result of this layout: points, vectors and equations; and indices of
/// contours, which matrices count from 1, with 0 for none. Directions (angles of keypoints, chain codes)
/// are the same in both. Regions, which are bounded by edges, become their first and last columns and rows.
/// Lines of four zeros, which stand for none, stay. Throws std::invalid_argument for a packed list that is
/// none.
void toMatrixPositions(Layout layout, Tensor& tensor, int64_t rows);

/// The reverse.
void toLibraryPositions(Layout layout, Tensor& tensor, int64_t rows);

/// True for arguments that are positional: keypoints, flows, homographies, centres, tables of columns or
/// rows.
bool isPositional(const Operation& operation, const Argument& argument);

/// Rewrites the positional arguments among these, given as matrix positions, for the library. What has not
/// the shape that its record asks for stays as it is.
void toLibraryPositions(const Operation& operation, NamedValues& values);

/// Rows of the first image among the values; 0 without one.
int64_t rowsOfPicture(const Operation& operation, std::span<const Value> values);

} // namespace miravex
