// Every rule by which a value becomes a byte (or an int), pinned on NaN, the
// infinities and the values next to the edges of its range.
#include "core/byte_rules.h"
#include "core/image_rows.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>

namespace {

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// The probes, and for the unit rules the same probes divided by 255.
const double kProbes[] = {kNaN, -kInf, kInf, -0.5, 0.4999, 254.5, 255.5};

struct Rule {
    const char* name;
    int (*apply)(double);
    int expected[7];  // per probe, in the order of kProbes
};

const Rule kRules[] = {
    {"byteTruncated", [](double v) { return int(vq::byteTruncated(v)); }, {0, 0, 255, 0, 0, 254, 255}},
    {"byteTruncatedF", [](double v) { return int(vq::byteTruncatedF(float(v))); }, {0, 0, 255, 0, 0, 254, 255}},
    {"byteRounded", [](double v) { return int(vq::byteRounded(v)); }, {0, 0, 255, 0, 0, 255, 255}},
    {"byteFromUnitRounded", [](double v) { return int(vq::byteFromUnitRounded(v / 255)); },
     {0, 0, 255, 0, 0, 255, 255}},
    {"byteFromUnitTruncated", [](double v) { return int(vq::byteFromUnitTruncated(v / 255)); },
     {0, 0, 255, 0, 0, 254, 255}},
    {"byteFromUnitTruncatedF", [](double v) { return int(vq::byteFromUnitTruncatedF(float(v / 255))); },
     {0, 0, 255, 0, 0, 254, 255}},
    {"truncToInt", [](double v) { return vq::truncToInt(v); }, {INT_MIN, INT_MIN, INT_MIN, 0, 0, 254, 255}},
    {"truncSaturated", [](double v) { return vq::truncSaturated(v); }, {0, INT_MIN, INT_MAX, 0, 0, 254, 255}},
};

}  // namespace

TEST(ByteRules, EachRuleOnTheEdgesOfItsRange) {
    for (const Rule& rule : kRules)
        for (size_t i = 0; i < std::size(kProbes); ++i)
            EXPECT_EQ(rule.apply(kProbes[i]), rule.expected[i]) << rule.name << " of " << kProbes[i];
    // The integer rules.
    for (auto [v, expected] : {std::pair<int64_t, int>{INT64_MIN, 0}, {-1, 0}, {0, 0}, {255, 255}, {256, 255}})
        EXPECT_EQ(vq::byteClamped(v), expected) << v;
    // byteRoundedInRange agrees with byteRounded over its domain.
    for (double v : {-3000.7, -0.5, -0.49, 0.4999, 0.5, 127.5, 254.4999, 254.5, 255.5, 5999.9})
        EXPECT_EQ(vq::byteRoundedInRange(v), vq::byteRounded(v)) << v;
}
