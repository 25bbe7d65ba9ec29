// The program's entry.
#include "frontend/startup.h"

int main(int count, char** arguments) {
    return run_program(count, arguments);
}
