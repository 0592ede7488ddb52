#include "TestSupport.h"
#include "core/SessionFileStore.h"

#include <gtest/gtest.h>

using namespace ostrelvan;
using namespace ostrelvan::test;
using namespace std::chrono_literals;

TEST(SessionFileStore, RemovesOnlyOldTemporariesOfUnfinishedWrites) {
    TempDir dir;
    const SessionFileStore store(dir.path());
    for (const char* name : {"s1.json", "s1.json.tmp42", "s2.json.tmp7", "s1.lock", "x.json.tmp",
                             "x.json.tmp4a", "notes.tmp42"}) {
        writeText(dir / name, "{}");
    }
    store.removeLeftovers(wallClockNow());
    EXPECT_EQ(listing(dir.path()),
              "notes.tmp42\ns1.json\ns1.json.tmp42\ns1.lock\ns2.json.tmp7\nx.json.tmp\n"
              "x.json.tmp4a\n");
    store.removeLeftovers(wallClockNow() + SessionFileStore::leftoverAge + 2s);
    EXPECT_EQ(listing(dir.path()), "notes.tmp42\ns1.json\ns1.lock\nx.json.tmp\nx.json.tmp4a\n");
}
