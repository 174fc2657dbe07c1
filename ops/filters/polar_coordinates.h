#pragma once

namespace miravex {

/// For points (x[i], y): the angle atan2(y, x[i]) and the logarithm ln(r + 1) of the distance from the
/// origin. Vectorised with the C library's vector functions where the compiler knows them; within 4 units in
/// the last place of the scalar functions, and usually equal.
void polarCoordinates(const double* x, double y, double* angles, double* logRadii, int count) noexcept;

} // namespace miravex
