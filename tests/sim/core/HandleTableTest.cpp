#include <gtest/gtest.h>

#include <set>

#include "HandleTable.h"

namespace zeta::sim {
namespace {

TEST(HandleTable, HandlesAreNeverReused) {
    HandleTable<int> table;
    std::set<void*> seen;
    for (int i = 0; i < 100; ++i) {
        void* handle = table.add(std::make_shared<int>(i));
        EXPECT_TRUE(seen.insert(handle).second);
        EXPECT_EQ(*table.find(handle), i);
        EXPECT_TRUE(table.remove(handle));
        EXPECT_EQ(table.find(handle), nullptr);
    }
}

TEST(HandleTable, UnknownAndNullHandlesAreNotFound) {
    HandleTable<int> table;
    int local = 0;
    EXPECT_EQ(table.find(nullptr), nullptr);
    EXPECT_EQ(table.find(&local), nullptr);
    EXPECT_EQ(table.remove(&local), nullptr);
}

TEST(HandleTable, TwoTablesNeverHandOutTheSameHandle) {
    HandleTable<int> a;
    HandleTable<double> b;
    void* first = a.add(std::make_shared<int>(1));
    void* second = b.add(std::make_shared<double>(2.0));
    EXPECT_NE(first, second);
    EXPECT_EQ(b.find(first), nullptr);
    EXPECT_EQ(a.removeAll().size(), 1u);
    EXPECT_EQ(a.find(first), nullptr);
}

}  // namespace
}  // namespace zeta::sim
