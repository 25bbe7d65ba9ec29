// File names on Windows: the system's are UTF-16.
#include "platform/file_ops.h"
#include "platform/file_path.h"
#include "platform/utf8_windows.h"

#include <cerrno>
#include <cwchar>

#include <windows.h>

const char DIRECTORY_SEPARATOR = '\\';
const char PATH_SEPARATORS[] = ";";  // ':' follows a drive letter

std::FILE* open_file(const char* name, const char* mode) {
    std::wstring bytes_mode = wide_text(mode);
    if (bytes_mode.find(L'b') == std::wstring::npos) bytes_mode += L'b';
    return _wfopen(wide_text(name).c_str(), bytes_mode.c_str());
}

// A virus scanner or an indexer opens a file as soon as it has been written, and then nobody may rename it.
bool replace_file(const char* from, const char* to) {
    constexpr int TRIES = 20;
    constexpr DWORD PAUSE = 100;  // milliseconds
    for (int tried = 1;; ++tried) {
        if (MoveFileExW(wide_text(from).c_str(), wide_text(to).c_str(), MOVEFILE_REPLACE_EXISTING)) return true;
        const DWORD error = GetLastError();
        const bool in_use = error == ERROR_SHARING_VIOLATION || error == ERROR_ACCESS_DENIED;
        errno = in_use ? EACCES : error == ERROR_FILE_NOT_FOUND ? ENOENT : EIO;
        if (!in_use || tried == TRIES) return false;
        Sleep(PAUSE);
    }
}

std::filesystem::path file_path(const std::string& name) {
    return wide_text(name);
}

std::string file_name(const std::filesystem::path& path) {
    return utf8_text(path.native());
}
