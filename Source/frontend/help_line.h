// The layout that all help texts share.
#pragma once

#include "frontend/base/output.h"

// A name with the values that follow it, and in a column of its own what it means.
inline void print_help_line(const char* name, const char* values, const char* meaning) {
    print_format("  %-21s %s", format_text(*values ? "%s %s" : "%s%s", name, values).c_str(), meaning);
}
