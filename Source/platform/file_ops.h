// Opening files, and the few file operations outside the standard library's streams. Every name is UTF-8 text.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>

// Opens a file as fopen does, except that line ends are never translated: "r" and "rb" mean the same everywhere.
std::FILE* open_file(const char* name, const char* mode);
// Closes its file in the end; for files that are only read, where closing cannot fail.
struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using OwnedFile = std::unique_ptr<std::FILE, CloseFile>;
bool file_exists(const char* name);
// True for what has no end, such as /dev/zero, or a terminal.
bool is_device(const char* name);
// Removes a file; true when it is gone.
bool delete_file(const char* name);
// Copies a whole file byte for byte; true on success.
bool copy_file(const char* from, const char* to);
// Gives the file the name `to`, where it takes the place of an older one. On Windows waits up to two seconds for others
// who have one of them open. False when it cannot be done; errno tells why.
bool replace_file(const char* from, const char* to);
// Cuts a file to `size` bytes if it is longer; true on success.
bool truncate_file(const char* name, std::uintmax_t size);
// True when both names lead to one existing file, by whatever links or spellings.
bool same_file(const char* a, const char* b);
// What separates directories in a path list: ';' everywhere and, except on Windows, also ':'.
extern const char PATH_SEPARATORS[];
// '\\' on Windows, '/' elsewhere.
extern const char DIRECTORY_SEPARATOR;
