// tarn_selfplay. See docs/selfplay.md.
#include "training/selfplay/program.h"

int main(int count, char** arguments) {
    return run_selfplay(count, arguments);
}
