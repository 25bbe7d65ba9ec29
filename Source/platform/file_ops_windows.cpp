// File names on Windows: the system's are UTF-16.
#include "platform/file_ops.h"
#include "platform/file_path.h"
#include "platform/utf8_windows.h"

#include <cwchar>

const char DIRECTORY_SEPARATOR = '\\';
const char PATH_SEPARATORS[] = ";";  // ':' follows a drive letter

std::FILE* open_file(const char* name, const char* mode) {
    std::wstring bytes_mode = wide_text(mode);
    if (bytes_mode.find(L'b') == std::wstring::npos) bytes_mode += L'b';
    return _wfopen(wide_text(name).c_str(), bytes_mode.c_str());
}

std::filesystem::path file_path(const std::string& name) {
    return wide_text(name);
}

std::string file_name(const std::filesystem::path& path) {
    return utf8_text(path.native());
}
