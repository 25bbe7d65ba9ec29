// The program's entry.
#include "frontend/startup.h"
#include "platform/process.h"

int main(int count, char** arguments) {
    const Arguments taken = begin_process(count, arguments);
    return end_process(run_program(taken.count, taken.words));
}
