// What the shell knows about a line: its filters, and the words that fit behind it.
#include <gtest/gtest.h>

#include <unistd.h>

#include "client/base/file_handle.h"
#include "client/shell/line_filter.h"
#include "client/words/command_line.h"
#include "client/words/completion.h"

namespace client {
namespace {

std::string fitting(const std::string &line, bool literal) {
    std::string words;
    for (const candidate &one : complete(line).candidates) {
        if (one.literal == literal) {
            words += (words.empty() ? "" : " ") + one.word;
        }
    }
    return words;
}

TEST(Completion, OffersWhatTheParserTakes) {
    struct {
        const char *line;
        const char *words;     // that can be typed
        const char *values;    // that are only named
    } const cases[] = {
        {"rec", "record", ""},
        {"CKLKUPH", "cklkuphw", ""},
        {"q", "quit", ""},
        {"walk ", "leaves record nodes", "<ENTER> |"},
        {"walk leaves ", "nodes", "<ENTER> |"},
        {"walk LE", "leaves", ""},
        {"wal l ", "nodes", "<ENTER> |"},
        {"walk nonsense ", "", ""},
        {"v4 ", "", "PREFIX"},
        {"v4 10.1.2.0/24 ", "vrf detail", "<ENTER> |"},
        {"v4 10.1.2.0/24 vrf ", "", "N"},
        {"v4 10.1.2.0/24 vrf 5 ", "detail", "<ENTER> |"},
        {"v4 1 ", "", "1000*DETAIL+LENGTH"},
        {"cklkupv4 ", "vrf", "PREFIX <ENTER> |"},
        {"memr 0x7f00 ", "", "SIZE"},
        {"memr 0x7f00 16 ", "force", "<ENTER> |"},
        {"tn 0x7f00 parent ", "prefixes chain children", "<ENTER> |"},
        {"help cklkupv", "cklkupv4 cklkupv6", ""},
        {"record ", "", "FILE"},
        {"diff a b ", "", "<ENTER> |"},
        {"tree 0x7f00 ", "--dot", ""},
        {"dump |", "include exclude count", ""},
        {"dump | e", "exclude", ""},
        {"dump | include ", "", "RE"},
        {"dump | count ", "", "<ENTER> |"},
        {"dump | include a | c", "count", ""},
        {"dump # v", "", ""},
    };
    for (const auto &one : cases) {
        EXPECT_EQ(fitting(one.line, true), one.words) << one.line;
        EXPECT_EQ(fitting(one.line, false), one.values) << one.line;
    }
    EXPECT_TRUE(complete("dump | include a").pattern);
    EXPECT_NE(candidate_lines(complete("v4 1.2.3.4 vrf ")).find("0 to 65535"), std::string::npos);
}

std::string filtered(const std::string &line, const std::vector<std::string> &pieces,
                     uint64_t limit = 0) {
    const typed_line typed = parse_line(line);
    EXPECT_EQ(typed.error, "");
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const file_handle reader(ends[0]);
    {
        const file_handle writer(ends[1]);
        output out(writer.get());
        line_filter filter(out);
        EXPECT_EQ(filter.set_up(typed.filters, limit), "");
        for (const std::string &piece : pieces) {
            filter.take(piece);
        }
        filter.finish(true);
    }
    std::string text(65536, '\0');
    text.resize(static_cast<size_t>(read(reader.get(), text.data(), text.size())));
    return text;
}

TEST(LineFilter, JudgesWholeLinesHoweverTheyWereCut) {
    const std::vector<std::string> pieces = {
        "\n", "one", " 10.0.0.0/8", "\ntwo vrf 5\nth", "ree 10.1.0.0/16\n", "\n", "last 10"};
    struct {
        const char *line;
        const char *text;
    } const cases[] = {
        {"x | include 10", "one 10.0.0.0/8\nthree 10.1.0.0/16\nlast 10"},
        {"x | include 10 | exclude ^t", "one 10.0.0.0/8\nlast 10"},
        {"x|include one|two", "one 10.0.0.0/8\ntwo vrf 5\n"},
        {"x | exclude 1|2", "\ntwo vrf 5\n\n"},
        {"x | include \"one 1\"", "one 10.0.0.0/8\n"},
        {"x | include vrf 5 # remark", "two vrf 5\n"},
        {"x | inc '(/8|vrf) ?5*$' | c", "2\n"},
        {"x | count", "4\n"},
        {"x | include nothing | count", "0\n"},
    };
    for (const auto &one : cases) {
        EXPECT_EQ(filtered(one.line, pieces), one.text) << one.line;
    }
    EXPECT_EQ(filtered("x | exclude two", pieces, 2), "\none 10.0.0.0/8\n");
}

TEST(CommandLine, ErrorsQuoteWhatIsWrongWithAFilter) {
    struct {
        const char *line;
        const char *error;
    } const cases[] = {
        {"dump | grep x", "'grep' is no filter"},
        {"dump | incldue x", "did you mean 'include'?"},
        {"dump |", "a filter is missing"},
        {"| count", "a command is missing"},
        {"dump | include", "'include' needs RE"},
        {"dump | count x", "'x' does not fit"},
        {"dump | count | include x", "'count' must be the last filter"},
        {"dump | include 'x", "a quote is not closed"},
    };
    for (const auto &one : cases) {
        EXPECT_NE(parse_line(one.line).error.find(one.error), std::string::npos)
            << one.line << ": " << parse_line(one.line).error;
    }
    EXPECT_TRUE(parse_line("  # a comment | count").words.empty());
    line_pattern pattern;
    EXPECT_NE(pattern.compile("(").find("'(' is no regular expression: "), std::string::npos);
}

}    // namespace
}    // namespace client
