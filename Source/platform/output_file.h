// The file that a tool writes. Lines and records reach it whole, and a write that fails is reported, never passed over.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

constexpr const char* FRESH_ENDING = ".new";

struct OutputFile {
    std::FILE* file = nullptr;
    std::string name;
    std::string target;        // what NAME.new replaces when it is closed; empty: the file itself is written
    std::string pending;       // whole items that have yet to be written
    std::uintmax_t whole = 0;  // bytes of the file that end with an item
    bool failed = false;       // some write failed; it has been reported
};

// Creates the file, or empties an existing one. False after one line on the error stream.
bool create_output(OutputFile& output, const std::string& name);
// Writes NAME.new, which takes the file's place when everything has been written; until then, and after a failure, an
// older file is what it was. A link stays one (on POSIX systems), and what is no plain file, or cannot be written, is
// not replaced. Where NAME.new cannot take the file's place in the end, it stays. False after one line on the error
// stream.
bool replace_output(OutputFile& output, const std::string& name);
// The same, but whatever the name leads to is replaced as if it had been deleted before.
bool replace_name(OutputFile& output, const std::string& name);
// Opens the file to go on at its end, or creates it. False after one line on the error stream.
bool append_output(OutputFile& output, const std::string& name);
// Adds one item; it is written together with others. False once a write has failed.
bool put(OutputFile& output, std::string_view item);
// Hands what is pending to the system; false once a write has failed.
bool flush_output(OutputFile& output);
// Closes the file and opens it again to go on at its end. False after one line on the error stream.
bool reopen_output(OutputFile& output);
// Writes what is pending and closes the file. True when everything has been written; false when something was not,
// which has then been reported, and the file ends with an earlier item or, where it was to be replaced, is what it was.
// A file that is not open has nothing to lose.
bool close_output(OutputFile& output);
// Closes the file of a run that was broken off: it ends with the last item that was written, or, where it was to be
// replaced, is what it was. Always false.
bool drop_output(OutputFile& output);
