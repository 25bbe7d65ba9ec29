// Conversions between UTF-8 and UTF-16 by the system.
#include "platform/utf8_windows.h"

#include <windows.h>

namespace {

// The setting of the system: what GetACP gives is changed by the program's own manifest.
UINT system_code_page() {
    DWORD page = CP_ACP;
    GetLocaleInfoW(LOCALE_SYSTEM_DEFAULT, LOCALE_IDEFAULTANSICODEPAGE | LOCALE_RETURN_NUMBER,
                   reinterpret_cast<wchar_t*>(&page), sizeof page / sizeof(wchar_t));
    return page;
}

// Empty when the text cannot be converted.
std::wstring converted(std::string_view text, UINT code_page, DWORD flags) {
    const int bytes = static_cast<int>(text.size());
    const int size = MultiByteToWideChar(code_page, flags, text.data(), bytes, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(code_page, flags, text.data(), bytes, wide.data(), size);
    return wide;
}

}  // namespace

std::wstring wide_text(std::string_view text) {
    std::wstring wide = converted(text, CP_UTF8, MB_ERR_INVALID_CHARS);
    return wide.empty() && !text.empty() ? converted(text, system_code_page(), 0) : wide;
}

std::string utf8_text(std::wstring_view text) {
    const int units = static_cast<int>(text.size());
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), units, nullptr, 0, nullptr, nullptr);
    std::string utf8(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), units, utf8.data(), size, nullptr, nullptr);
    return utf8;
}
