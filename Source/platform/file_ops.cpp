// File operations that are the same everywhere.
#include "platform/file_ops.h"

#include "platform/file_path.h"

#include <cstdio>
#include <filesystem>
#include <system_error>

bool file_exists(const char* name) {
    std::error_code error;
    return std::filesystem::exists(file_path(name), error) && !error;
}

bool is_device(const char* name) {
    std::error_code error;
    return std::filesystem::is_character_file(file_path(name), error);
}

bool delete_file(const char* name) {
    std::error_code error;
    const std::filesystem::path path = file_path(name);
    if (std::filesystem::is_directory(path, error)) return false;
    std::filesystem::remove(path, error);
    return !error && !file_exists(name);
}

bool truncate_file(const char* name, std::uintmax_t size) {
    std::error_code error;
    const std::filesystem::path path = file_path(name);
    if (!std::filesystem::is_regular_file(path, error)) return false;
    if (std::filesystem::file_size(path, error) > size) std::filesystem::resize_file(path, size, error);
    return !error;
}

bool same_file(const char* a, const char* b) {
    std::error_code error;
    return std::filesystem::equivalent(file_path(a), file_path(b), error) && !error;
}

bool copy_file(const char* from, const char* to) {
    if (same_file(from, to)) return false;  // opening the target would empty the source
    const OwnedFile source(open_file(from, "rb"));
    if (!source) return false;
    std::FILE* const target = open_file(to, "wb");
    bool copied = target != nullptr;
    char buffer[65536];
    for (std::size_t size; copied && (size = std::fread(buffer, 1, sizeof buffer, source.get())) > 0;) {
        copied = std::fwrite(buffer, 1, size, target) == size;
    }
    copied = copied && !std::ferror(source.get());
    return target && std::fclose(target) == 0 && copied;
}
