// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace vek::sim {

// Elementary functions from additions, multiplications and divisions alone. The C library's own differ in the last
// bit from version to version; these give the same double on every IEEE 754 machine, so that a simulated frame is the
// same everywhere.

/// e^x; relative error below 1e-14 for |x| < 700.
double portableExp(double x);

/// Cosine of x in radians; absolute error below 1e-12 for |x| < 1e4, growing with |x| beyond.
double portableCos(double x);

/// Sine of x in radians; accuracy as portableCos.
double portableSin(double x);

/// Linear factor of a level in decibels of amplitude: 10^(dB / 20).
double portableDbToLinear(double db);

} // namespace vek::sim
