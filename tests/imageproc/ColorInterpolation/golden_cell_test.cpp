// SPDX-License-Identifier: Apache-2.0
// Nearest neighbour by hand. A cell shares its one red and its one blue sample; green is that of the own row.
#include "imageproc/ColorInterpolation/GoldenImage.h"

namespace vek::test {

TEST(GoldenNearest, OneCell) {
    const std::vector<int> source{10, 20, 30, 40};
    expectColor(2, 2, 2, kRGGB, source, {40, 20, 10, 40, 20, 10, 40, 30, 10, 40, 30, 10});
    expectColor(2, 2, 2, kGRBG, source, {30, 10, 20, 30, 10, 20, 30, 40, 20, 30, 40, 20});
    expectColor(2, 2, 2, kGBRG, source, {20, 10, 30, 20, 10, 30, 20, 40, 30, 20, 40, 30});
    expectColor(2, 2, 2, kBGGR, source, {10, 20, 40, 10, 20, 40, 10, 30, 40, 10, 30, 40});
}

// Two cells beside each other share nothing.
TEST(GoldenNearest, TwoCells) {
    const std::vector<int> source{1, 2, 3, 4,                                  //
                                  5, 6, 7, 8};                                 // R G R G / G B G B
    expectColor(4, 2, 2, kRGGB, source, {6, 2, 1, 6, 2, 1, 8, 4, 3, 8, 4, 3,   // G 2 and 4
                                         6, 5, 1, 6, 5, 1, 8, 7, 3, 8, 7, 3}); // G 5 and 7
}

// Odd width: column 2 pairs with column 1 and keeps the roles.
TEST(GoldenNearest, ThreeByTwo) {
    const std::vector<int> source{10, 20, 30, //
                                  40, 50, 60};
    expectColor(3, 2, 2, kRGGB, source,
                {50, 20, 10, 50, 20, 10, 50, 20, 30,   // last: B S(1,1), G S(0,1), R S(0,2)
                 50, 40, 10, 50, 40, 10, 50, 60, 30}); // last: G S(1,2)
    expectColor(3, 2, 2, kGRBG, source,
                {40, 10, 20, 40, 10, 20, 60, 30, 20,   // last: B S(1,2), G S(0,2), R S(0,1)
                 40, 50, 20, 40, 50, 20, 60, 50, 20}); // last: G S(1,1)
}

// Odd height: row 2 takes the missing colour from row 1.
TEST(GoldenNearest, TwoByThree) {
    const std::vector<int> source{10, 20, //
                                  30, 40, //
                                  50, 60};
    expectColor(2, 3, 2, kGBRG, source,
                {20, 10, 30, 20, 10, 30,   // G B over R G
                 20, 40, 30, 20, 40, 30,   //
                 60, 50, 30, 60, 50, 30}); // B S(2,1), G S(2,0), R S(1,0)
    expectColor(2, 3, 2, kBGGR, source,
                {10, 20, 40, 10, 20, 40,   // B G over G R
                 10, 30, 40, 10, 30, 40,   //
                 50, 60, 40, 50, 60, 40}); // B S(2,0), G S(2,1), R S(1,1)
}

// Both odd: the corner pixel follows both rules.
TEST(GoldenNearest, ThreeByThree) {
    const std::vector<int> source{10, 20, 30, //
                                  40, 50, 60, //
                                  70, 80, 90};
    expectColor(3, 3, 2, kRGGB, source, {50, 20, 10, 50, 20, 10, 50, 20, 30,   //
                                         50, 40, 10, 50, 40, 10, 50, 60, 30,   //
                                         50, 80, 70, 50, 80, 70, 50, 80, 90}); // corner: B S(1,1), G S(2,1), R S(2,2)
    expectColor(3, 3, 2, kGRBG, source, {40, 10, 20, 40, 10, 20, 60, 30, 20,   //
                                         40, 50, 20, 40, 50, 20, 60, 50, 20,   //
                                         40, 70, 80, 40, 70, 80, 60, 90, 80}); // corner: B S(1,2), G S(2,2), R S(2,1)
    expectColor(3, 3, 2, kGBRG, source, {20, 10, 40, 20, 10, 40, 20, 30, 60,   //
                                         20, 50, 40, 20, 50, 40, 20, 50, 60,   //
                                         80, 70, 40, 80, 70, 40, 80, 90, 60}); // corner: B S(2,1), G S(2,2), R S(1,2)
    expectColor(3, 3, 2, kBGGR, source, {10, 20, 50, 10, 20, 50, 30, 20, 50,   //
                                         10, 40, 50, 10, 40, 50, 30, 60, 50,   //
                                         70, 80, 50, 70, 80, 50, 90, 80, 50}); // corner: B S(2,2), G S(2,1), R S(1,1)
}

} // namespace vek::test
