#include <gtest/gtest.h>

#include <cmath>

#include "core/detmath.h"

namespace tsn {
namespace {

// The runtime library is accurate on the platform the tests run on; ours must
// stay within a few units in the last place of it.
void ExpectClose(double got, double want, double ulps, const char* what, double at) {
    const double tol = ulps * std::fabs(want) * 2.220446049250313e-16 + 1e-300;
    EXPECT_NEAR(got, want, tol) << what << "(" << at << ")";
}

TEST(DetMath, SineAndCosineOverManyTurns) {
    for (double x = -1000.0; x <= 1000.0; x += 0.0137) {
        // Near a zero the relative error of the result is no measure.
        const double s = std::sin(x), c = std::cos(x);
        EXPECT_NEAR(DetSin(x), s, 4e-16 * std::max(1.0, std::fabs(x) / 64)) << x;
        EXPECT_NEAR(DetCos(x), c, 4e-16 * std::max(1.0, std::fabs(x) / 64)) << x;
    }
    EXPECT_EQ(DetSin(0.0), 0.0);
    EXPECT_EQ(DetCos(0.0), 1.0);
    EXPECT_TRUE(std::isnan(DetSin(INFINITY)));
    EXPECT_TRUE(std::isnan(DetCos(NAN)));
}

TEST(DetMath, ExponentialAndLogarithmAcrossTheRange) {
    for (double x = -740.0; x <= 709.0; x += 0.731)
        ExpectClose(DetExp(x), std::exp(x), 4, "exp", x);
    for (double x = 1e-300; x < 1e300; x *= 1.7931)
        ExpectClose(DetLog(x), std::log(x), 4, "log", x);
    for (double x = 0.5; x < 2.0; x += 0.001) EXPECT_NEAR(DetLog(x), std::log(x), 4e-16) << x;
    EXPECT_EQ(DetExp(0.0), 1.0);
    EXPECT_EQ(DetLog(1.0), 0.0);
    EXPECT_EQ(DetExp(710.0), INFINITY);
    EXPECT_EQ(DetExp(-746.0), 0.0);
    ExpectClose(DetLog(4.9e-324), std::log(4.9e-324), 4, "log", 4.9e-324);
    EXPECT_EQ(DetLog(0.0), -INFINITY);
    EXPECT_TRUE(std::isnan(DetLog(-1.0)));
}

TEST(DetMath, PowerWithTheEdgeCasesTexturesMeet) {
    for (double x : {0.001, 0.5, 1.5, 2.0, 3.7, 100.0, 65536.0, 1e6})
        for (double y : {-3.5, -1.45, -0.5, 0.3, 1.0, 2.0, 2.5, 7.0})
            ExpectClose(DetPow(x, y), std::pow(x, y), 64, "pow", x * 1000 + y);
    EXPECT_EQ(DetPow(5.0, 0.0), 1.0);
    EXPECT_EQ(DetPow(0.0, 2.0), 0.0);
    EXPECT_EQ(DetPow(0.0, -1.0), INFINITY);
    EXPECT_NEAR(DetPow(-2.0, 3.0), -8.0, 1e-14);
    EXPECT_NEAR(DetPow(-2.0, 2.0), 4.0, 1e-14);
    EXPECT_TRUE(std::isnan(DetPow(-2.0, 0.5)));
    EXPECT_EQ(DetPow(1.0, NAN), 1.0);
}

}  // namespace
}  // namespace tsn
