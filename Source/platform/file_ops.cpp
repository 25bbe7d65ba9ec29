// File operations that are the same everywhere.
#include "platform/file_ops.h"

#include <cstdio>
#include <filesystem>
#include <system_error>

#if defined(_WIN32)
const char DIRECTORY_SEPARATOR = '\\';
bool is_path_separator(char c) {
    return c == ';';
}  // ':' follows a drive letter
#else
const char DIRECTORY_SEPARATOR = '/';
bool is_path_separator(char c) {
    return c == ';' || c == ':';
}
#endif

bool file_exists(const char* name) {
    std::error_code error;
    return std::filesystem::exists(name, error) && !error;
}

bool delete_file(const char* name) {
    std::error_code error;
    if (std::filesystem::is_directory(name, error)) return false;
    std::filesystem::remove(name, error);
    return !error && !file_exists(name);
}

bool truncate_file(const char* name, std::uintmax_t size) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(name, error)) return false;
    if (std::filesystem::file_size(name, error) > size) std::filesystem::resize_file(name, size, error);
    return !error;
}

bool same_file(const char* a, const char* b) {
    std::error_code error;
    return std::filesystem::equivalent(a, b, error) && !error;
}

bool copy_file(const char* from, const char* to) {
    if (same_file(from, to)) return false;  // opening the target would empty the source
    std::FILE* source = std::fopen(from, "rb");
    if (!source) return false;
    std::FILE* target = std::fopen(to, "wb");
    bool copied = target != nullptr;
    char buffer[65536];
    for (std::size_t size; copied && (size = std::fread(buffer, 1, sizeof buffer, source)) > 0;) {
        copied = std::fwrite(buffer, 1, size, target) == size;
    }
    copied = copied && !std::ferror(source);
    std::fclose(source);
    if (target && std::fclose(target) != 0) copied = false;
    return copied;
}
