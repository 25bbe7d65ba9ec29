// tarn_selfplay. See docs/selfplay.md.
#include "platform/process.h"
#include "training/selfplay/program.h"

int main(int count, char** arguments) {
    const Arguments taken = begin_process(count, arguments);
    return end_process(run_selfplay(taken.count, taken.words));
}
