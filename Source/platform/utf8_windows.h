// Text inside the program is UTF-8; the interfaces of Windows take and give UTF-16.
#pragma once

#include <string>
#include <string_view>

// Text that is no UTF-8 is read in the code page of the system, which older chess interfaces write.
std::wstring wide_text(std::string_view text);
// Half a surrogate pair becomes U+FFFD.
std::string utf8_text(std::wstring_view text);
