// The tuner of the hand-crafted evaluation, from its command line to its exit status.
#pragma once

int run_tuner(int count, const char* const* arguments);
