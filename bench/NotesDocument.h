#pragma once

#include <string>

// Line `i` of the plain notes document that the benchmarks edit: a heading every 40 lines with a
// blank line after it, a task on every third line (every other one ticked), prose otherwise.
inline std::string notesLine(int i) {
    if (i % 40 == 0) {
        return "## Section " + std::to_string(i);
    }
    if (i % 40 == 1) {
        return "";
    }
    if (i % 3 == 0) {
        return std::string(i % 2 == 0 ? "- [x] " : "- [ ] ") + "Task " + std::to_string(i) +
               ": pick up the parcel at the post office";
    }
    return "Line " + std::to_string(i) +
           " of the notes, written in plain words about the week ahead.";
}
