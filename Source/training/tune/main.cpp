// tarn_tune. See docs/tuning.md.
#include "platform/process.h"
#include "training/tune/program.h"

int main(int count, char** arguments) {
    const Arguments taken = begin_process(count, arguments);
    return end_process(run_tuner(taken.count, taken.words));
}
