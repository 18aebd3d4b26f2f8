// The breakpoint list dialog's rows: the address, the source file and line of each record, the
// empty list, and the look-up its Go to and Delete buttons start from.

#include "appliance/Appliance.h"
#include "debug/SymblerRig.h"
#include "inspectors/BreakpointList.h"

#include <gtest/gtest.h>

namespace bx {
namespace {

class BreakpointListTest : public ::testing::Test, public test::FakeSymbler {
protected:
    BreakpointListTest() {
        fake->Files[0] = {"\\work\\app", "main.asm"};
        fake->Sources[0x8003] = {0, 41};
        fake->Sources[0x24010] = {0, 7};
        symbler.ListFilePath("\\work\\app\\app.sym");
    }

    Appliance appliance;
};

TEST_F(BreakpointListTest, RowsShowAddressFileAndLineOfEachRecordAndLeadToTheLine) {
    EXPECT_TRUE(ListBreakpoints(&appliance, &symbler).Empty);
    appliance.Breakpoints().Add(0, 0x8003, 1, 1);
    appliance.Breakpoints().Add(0, 0x24010, 1, 1); // bank 2 folded into the start
    appliance.Breakpoints().Add(0, 0x9000, 1, 1);  // no source line there
    EXPECT_TRUE(ListBreakpoints(&appliance, nullptr).Empty);
    EXPECT_TRUE(ListBreakpoints(nullptr, &symbler).Empty);

    const BreakpointListing listing = ListBreakpoints(&appliance, &symbler);
    ASSERT_FALSE(listing.Empty);
    std::vector<std::string> rows;
    for (const BreakpointRow& row : listing.Rows)
        rows.push_back(row.Location + " | " + row.File + " | " + row.Line);
    EXPECT_EQ(rows, (std::vector<std::string>{"00:8003 | main.asm (/work/app/main.asm) | 41",
                                              "00:24010 | main.asm (/work/app/main.asm) | 7",
                                              "00:9000 |  () | 0"})); // no line: 0
    EXPECT_EQ(listing.Rows[0].Tag, appliance.Breakpoints().First()->AsString());

    const auto line = LineOfBreakpoint(listing.Rows[1].Tag, symbler);
    ASSERT_TRUE(line);
    EXPECT_EQ(line->Start, 0x24010);
    EXPECT_EQ(line->Line, 7);
    EXPECT_EQ(line->Path, "\\work\\app\\main.asm");
    EXPECT_FALSE(LineOfBreakpoint(listing.Rows[2].Tag, symbler)); // nothing to go to
    EXPECT_FALSE(LineOfBreakpoint("not a record", symbler));
}

} // namespace
} // namespace bx
