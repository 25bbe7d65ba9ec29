// Read-only mapping of whole files.
#pragma once

#include <cstddef>
#include <cstdint>

struct FileMap {
    const std::uint8_t* data = nullptr;  // nullptr when not mapped
    std::size_t size = 0;
    void* handle = nullptr;  // the platform's own
};

// What the system refused, and its error code.
struct MapError {
    enum Step { OPENING, MAPPING, VIEWING } step;
    unsigned long code;
};

// Maps the file read-only. On failure returns false and says why in `error`. Where a file is mapped and viewed in
// one call, only MAPPING fails.
bool map_file(const char* name, FileMap& map, MapError& error);

// Error codes of letting a file go; 0 where nothing failed.
struct UnmapErrors {
    unsigned long view = 0;
    unsigned long handle = 0;  // where a mapping has a handle of its own
};
// Nothing is mapped afterwards, whatever failed.
UnmapErrors unmap_file(FileMap& map);

// Size of a file in bytes, or -1 when it cannot be opened.
std::int64_t file_size(const char* name);
