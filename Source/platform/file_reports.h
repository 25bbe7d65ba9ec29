// Files that a tool cannot use: each is refused with one line on the error stream.
#pragma once

#include <cstddef>
#include <string>

// True when the name contains the extension; reported when it does not.
bool has_extension(const std::string& name, const char* extension);

// False, and reported, when writing the output would destroy the input.
bool is_other_file(const std::string& input_name, const std::string& output_name);

// Report why a tool ends early, and return its exit status 1.
int report_unreadable(const char* name, const char* why);
int report_unreadable(const char* name, int error);
// The same for tools that have nothing to do without this input: reported, but exit status 0.
int report_missing(const char* name, int error);
int report_interrupted(std::size_t done, const char* what = "positions");
