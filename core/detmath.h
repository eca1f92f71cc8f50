// Elementary functions that give the same bits on every platform. The
// runtime libraries' sin, cos, exp, log and pow differ in their last bits
// between Linux and Windows, and a picture built from them would too. These
// use only IEEE basic operations (with no fused multiply-add), so their
// results depend on nothing but the input. Accuracy is a few units in the
// last place over the ranges textures use.
#pragma once

namespace tsn {

double DetSin(double x);
double DetCos(double x);
double DetExp(double x);
double DetLog(double x);  // natural logarithm; NaN below 0, -inf at 0
// x to the power y; a negative x takes only whole-number powers (NaN
// otherwise), 0 to a negative power is +inf, anything to the power 0 is 1.
double DetPow(double x, double y);

}  // namespace tsn
