#include <gtest/gtest.h>

#include "FaultTable.h"

namespace zeta::sim {
namespace {

TEST(FaultTable, CountsTimesThenSucceeds) {
    FaultTable table;
    table.set("board", "zetaScan", FaultRule{0, 2});
    EXPECT_TRUE(table.consume("board", "zetaScan"));
    EXPECT_TRUE(table.consume("board", "zetaScan"));
    EXPECT_FALSE(table.consume("board", "zetaScan"));
    EXPECT_FALSE(table.consume("board", "zetaProject"));
}

TEST(FaultTable, SkipsThenFails) {
    FaultTable table;
    table.set("ZV0001", "SnapShot", FaultRule{2, 1});
    EXPECT_FALSE(table.consume("ZV0001", "SnapShot"));
    EXPECT_FALSE(table.consume("ZV0001", "SnapShot"));
    EXPECT_TRUE(table.consume("ZV0001", "SnapShot"));
    EXPECT_FALSE(table.consume("ZV0001", "SnapShot"));
}

TEST(FaultTable, MinusOneFailsForever) {
    FaultTable table;
    table.set("camera", "CreateCamera", FaultRule{1, -1});
    EXPECT_FALSE(table.consume("camera", "CreateCamera"));
    for (int i = 0; i < 100; ++i) EXPECT_TRUE(table.consume("camera", "CreateCamera"));
    table.clear();
    EXPECT_FALSE(table.consume("camera", "CreateCamera"));
}

TEST(FaultTable, RulesArePerDevice) {
    FaultTable table;
    table.setAll("A", FaultRules{{"GetGain", FaultRule{0, 1}}});
    EXPECT_FALSE(table.consume("B", "GetGain"));
    EXPECT_TRUE(table.consume("A", "GetGain"));
}

}  // namespace
}  // namespace zeta::sim
