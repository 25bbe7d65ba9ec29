// The words of refusals.
#include "platform/file_reports.h"

#include "platform/file_ops.h"
#include "platform/output_file.h"

#include <cstdio>
#include <cstring>

bool has_extension(const std::string& name, const char* extension) {
    if (name.find(extension) != std::string::npos) return true;
    std::fprintf(stderr, "%s: the name of this file needs %s\n", name.c_str(), extension);
    return false;
}

bool is_other_file(const std::string& input_name, const std::string& output_name) {
    const std::string fresh = output_name + FRESH_ENDING;
    const char* const input = input_name.c_str();
    if (!same_file(input, output_name.c_str()) && !same_file(input, fresh.c_str())) return true;
    std::fprintf(stderr, "%s is input and output\n", output_name.c_str());
    return false;
}

int report_unreadable(const char* name, const char* why) {
    std::fprintf(stderr, "can't read %s: %s\n", name, why);
    return 1;
}

int report_unreadable(const char* name, int error) {
    return report_unreadable(name, std::strerror(error));
}

int report_missing(const char* name, int error) {
    report_unreadable(name, error);
    return 0;
}

int report_interrupted(std::size_t done, const char* what) {
    std::fprintf(stderr, "interrupted after %zu %s\n", done, what);
    return 1;
}
