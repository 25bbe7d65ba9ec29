// What is the same on every platform.
#include "platform/process.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <typeinfo>

#include <cxxabi.h>

namespace {

constexpr const char* BAD_ALLOC = "St9bad_alloc";  // std::bad_alloc, as the compilers' common ABI names it

// Exceptions are switched off: what the library throws ends here. Memory that is asked for with std::nothrow does not.
[[noreturn]] void end_for_a_fault() {
    const std::type_info* const type = abi::__cxa_current_exception_type();
    if (!type || std::strcmp(type->name(), BAD_ALLOC) != 0) std::abort();
    std::fputs("out of memory\n", stderr);
    give_console_back();
    std::_Exit(1);
}

}  // namespace

void tell_missing_memory() {
    std::set_terminate(end_for_a_fault);
}
