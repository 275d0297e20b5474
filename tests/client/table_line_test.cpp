#include "table/table_line.h"

#include <gtest/gtest.h>

namespace table {

TEST(TableLine, ReadsPlainAndRecordingLinesAndNamesTheRest) {
    const struct {
        const char *text;
        line::kind what;
        const char *prefix;
        int vrf;
    } cases[] = {
        {"10.1.2.0/24", line::entry, "10.1.2.0/24", 0},
        {"  2001:db8::/32\t65535  # lab", line::entry, "2001:db8::/32", 65535},
        {"10.1.2.3 5", line::entry, "10.1.2.3/32", 5},
        {"10.255.255.255/9", line::entry, "10.128.0.0/9", 0},
        {"A U4 10.1.2.0/24 5 #", line::entry, "10.1.2.0/24", 5},
        {"A U6 ::ffff:10.0.0.1/128 0 #\r", line::entry, "::ffff:10.0.0.1/128", 0},
        {"# comment", line::nothing, "", 0},
        {" \r", line::nothing, "", 0},
        {"10.1.2.0/33", line::bad, "", 0},
        {"::/129", line::bad, "", 0},
        {"10.0.0.0/0x8", line::bad, "", 0},
        {"10.1.2/24", line::bad, "", 0},
        {"10.1.2.0/", line::bad, "", 0},
        {"10.1.2.0/24#", line::bad, "", 0},
        {"10.1.2.0/24 65536", line::bad, "", 0},
        {"10.1.2.0/24 5 6", line::bad, "", 0},
        {"A U6 10.1.2.0/24 5 #", line::bad, "", 0},
        {"A U5 10.1.2.0/24 5 #", line::bad, "", 0},
        {"A U4", line::bad, "", 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.text);
        const line parsed = parse_line(c.text);
        ASSERT_EQ(parsed.what, c.what);
        EXPECT_EQ(parsed.problem != nullptr, c.what == line::bad);
        if (c.what == line::entry) {
            EXPECT_EQ(text_of(parsed.value), c.prefix);
            EXPECT_EQ(parsed.value.vrf, c.vrf);
        }
    }
}

}    // namespace table
