// The self-play program, from its command line to its exit status.
#pragma once

int run_selfplay(int count, const char* const* arguments);
