#include "client/pictures/dot_table.h"

namespace client {

// Light fills under dark text that are told apart with any colour vision; the type is also written.
const char *colour_of(const std::string &type) {
    return type == "SEARCH" ? "#d3e9f7" : type == "END" ? "#fbe2b0" : "#ececec";
}

std::string html(const std::string &text) {
    std::string result;
    for (const char c : text) {
        switch (c) {
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            default:
                result += c >= ' ' && c <= '~' ? c : '?';
        }
    }
    return result;
}

std::string small(const std::string &text) {
    return "<FONT POINT-SIZE=\"9\">" + html(text) + "</FONT>";
}

std::string row(const std::string &content) {
    return "<TR><TD ALIGN=\"LEFT\">" + content + "</TD></TR>";
}

std::string frame(bool hinted, bool in_question) {
    const char *colour = in_question ? "#000000" : hinted ? "#0072b2" : "#777777";
    return std::string("BORDER=\"") + (in_question ? "3" : "1") + "\" COLOR=\"" + colour +
           "\" STYLE=\"" + (hinted ? "ROUNDED" : "ROUNDED,DASHED") + '"';
}

// The inner table keeps the rows off the rounded frame.
std::string box(const std::string &frame, const std::string &type, const std::string &rows) {
    return "<TABLE " + frame + " BGCOLOR=\"" + colour_of(type) +
           "\" CELLBORDER=\"0\" CELLSPACING=\"0\" CELLPADDING=\"4\"><TR><TD ALIGN=\"LEFT\">"
           "<TABLE BORDER=\"0\" CELLBORDER=\"0\" CELLSPACING=\"0\" CELLPADDING=\"1\">" +
           rows + "</TABLE></TD></TR></TABLE>";
}

namespace {

std::string legend_entry(const std::string &sample, const char *name) {
    return sample + "<TD ALIGN=\"LEFT\">" + name + "    </TD>";
}

std::string swatch(const std::string &type) {
    return std::string("<TD BORDER=\"1\" COLOR=\"#777777\" BGCOLOR=\"") + colour_of(type) +
           "\" WIDTH=\"18\"></TD>";
}

std::string framed(const std::string &frame) {
    return "<TD><TABLE " + frame +
           " CELLBORDER=\"0\" CELLPADDING=\"2\"><TR><TD WIDTH=\"14\"></TD></TR></TABLE></TD>";
}

}    // namespace

std::string legend() {
    return "<TABLE BORDER=\"0\" CELLBORDER=\"0\" CELLSPACING=\"4\" CELLPADDING=\"1\"><TR>" +
           legend_entry(swatch("SEARCH"), "search node") + legend_entry(swatch("END"), "end node") +
           legend_entry(swatch("INTERN"), "prefixes of a node") + "</TR><TR>" +
           legend_entry(framed(frame(true, false)), "with a hardware node") +
           legend_entry(framed(frame(false, false)), "without") +
           legend_entry(framed(frame(true, true)), "the node in question") +
           "</TR><TR><TD COLSPAN=\"6\">numbers: the 6 key bits of a step</TD></TR></TABLE>";
}

}    // namespace client
