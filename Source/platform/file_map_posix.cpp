// Read-only file mapping by mmap.
#include "platform/file_map.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

unsigned long last_error() {
    return static_cast<unsigned long>(errno);
}

}  // namespace

bool map_file(const char* name, FileMap& map, MapError& error) {
    map = FileMap{};
    const int file = open(name, O_RDONLY | O_CLOEXEC);
    if (file < 0) {
        error = {MapError::OPENING, last_error()};
        return false;
    }
    struct stat status {};
    void* address = MAP_FAILED;
    error = {MapError::MAPPING, EINVAL};
    if (fstat(file, &status) != 0) {
        error.code = last_error();
    } else if (S_ISREG(status.st_mode) && status.st_size > 0) {
        address = mmap(nullptr, static_cast<std::size_t>(status.st_size), PROT_READ, MAP_SHARED, file, 0);
        error.code = last_error();
    }
    close(file);  // the mapping keeps the file
    if (address == MAP_FAILED) return false;
    map.data = static_cast<const std::uint8_t*>(address);
    map.size = static_cast<std::size_t>(status.st_size);
    map.handle = address;
    return true;
}

UnmapErrors unmap_file(FileMap& map) {
    UnmapErrors errors;
    if (map.handle && munmap(map.handle, map.size) != 0) errors.view = last_error();
    map = FileMap{};
    return errors;
}

std::int64_t file_size(const char* name) {
    // Opened, not only looked up: a file that cannot be read counts as missing.
    const int file = open(name, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0) return -1;
    struct stat status {};
    const bool known = fstat(file, &status) == 0 && S_ISREG(status.st_mode);
    close(file);
    return known ? static_cast<std::int64_t>(status.st_size) : -1;
}
