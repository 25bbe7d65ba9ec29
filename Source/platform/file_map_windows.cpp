// Read-only file mapping on Windows.
#include "platform/file_map.h"

#include "platform/utf8_windows.h"

#include <windows.h>

namespace {

HANDLE open_for_reading(const char* name) {
    return CreateFileW(wide_text(name).c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                       FILE_FLAG_RANDOM_ACCESS, nullptr);
}

}  // namespace

bool map_file(const char* name, FileMap& map, MapError& error) {
    map = FileMap{};
    const HANDLE file = open_for_reading(name);
    if (file == INVALID_HANDLE_VALUE) {
        error = {MapError::OPENING, GetLastError()};
        return false;
    }
    LARGE_INTEGER size{};
    HANDLE mapping = nullptr;
    const void* address = nullptr;
    if (GetFileSizeEx(file, &size)) mapping = CreateFileMappingW(file, nullptr, PAGE_READONLY, 0, 0, nullptr);
    if (mapping) address = MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, 0);
    if (!address) error = {mapping ? MapError::VIEWING : MapError::MAPPING, GetLastError()};
    CloseHandle(file);  // the mapping keeps the file
    if (!address) {
        if (mapping) CloseHandle(mapping);
        return false;
    }
    map.data = static_cast<const std::uint8_t*>(address);
    map.size = static_cast<std::size_t>(size.QuadPart);
    map.handle = mapping;
    return true;
}

UnmapErrors unmap_file(FileMap& map) {
    UnmapErrors errors;
    if (map.data && !UnmapViewOfFile(map.data)) errors.view = GetLastError();
    if (map.handle && !CloseHandle(map.handle)) errors.handle = GetLastError();
    map = FileMap{};
    return errors;
}

std::int64_t file_size(const char* name) {
    const HANDLE file = open_for_reading(name);
    if (file == INVALID_HANDLE_VALUE) return -1;
    LARGE_INTEGER size{};
    const bool known = GetFileSizeEx(file, &size) != 0;
    CloseHandle(file);
    return known ? static_cast<std::int64_t>(size.QuadPart) : -1;
}
