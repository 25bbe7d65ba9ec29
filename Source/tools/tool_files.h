// How the tools name their files and refuse unsuitable ones: one line on the error stream each.
#pragma once

#include <cstddef>
#include <string>

// True when the name contains the extension; reported when it does not.
bool has_extension(const std::string& name, const char* extension);

// False, and reported, when writing the output would destroy the input.
bool is_other_file(const std::string& input_name, const std::string& output_name);

// Report why a tool ends early, and return its exit status 1.
int report_unreadable(const char* name, int error);
int report_interrupted(std::size_t positions);
