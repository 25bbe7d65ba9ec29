// Read-only mapping of whole files.
#pragma once

#include <cstddef>
#include <cstdint>

struct FileMap {
    const std::uint8_t* data = nullptr;  // nullptr when not mapped
    std::size_t size = 0;
    void* handle = nullptr;  // the platform's own
};

// Maps the file read-only. On failure returns false and sets `error` to the system's error code.
bool map_file(const char* name, FileMap& map, int& error);
void unmap_file(FileMap& map);
// Size of a file in bytes, or -1 when it cannot be opened.
std::int64_t file_size(const char* name);
