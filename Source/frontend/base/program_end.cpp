// The one request for the end of the program.
#include "frontend/base/program_end.h"

#include "frontend/base/settings.h"
#include "platform/console_input.h"

#include <atomic>

namespace {

constexpr int NOT_ASKED_FOR = 1 << 16;  // no exit status
std::atomic<int> requested = NOT_ASKED_FOR;

}  // namespace

void end_program(int status) {
    int none = NOT_ASKED_FOR;
    requested.compare_exchange_strong(none, status);
    settings.quit = 1;
    end_wait();
}

bool program_ends() {
    return requested != NOT_ASKED_FOR;
}

int end_status(int usual) {
    const int status = requested;
    return status == NOT_ASKED_FOR ? usual : status;
}
