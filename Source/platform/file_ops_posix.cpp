// File names on POSIX systems: bytes, handed on as they are.
#include "platform/file_ops.h"
#include "platform/file_path.h"

const char DIRECTORY_SEPARATOR = '/';
const char PATH_SEPARATORS[] = ";:";

std::FILE* open_file(const char* name, const char* mode) {
    return std::fopen(name, mode);
}

bool replace_file(const char* from, const char* to) {
    return std::rename(from, to) == 0;
}

std::filesystem::path file_path(const std::string& name) {
    return name;
}

std::string file_name(const std::filesystem::path& path) {
    return path.string();
}
