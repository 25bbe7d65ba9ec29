// tarn_tune. See docs/tuning.md.
#include "training/tune/program.h"

int main(int count, char** arguments) {
    return run_tuner(count, arguments);
}
