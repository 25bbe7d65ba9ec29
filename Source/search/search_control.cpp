// The one SearchControl record, and the end of a search by command.
#include "search/search_control.h"

SearchControl search_control;

void stop_search() {
    search_control.think_flags.fetch_or(THINK_STOPPED);
    search_control.think_flags.notify_all();
    search_control.stop = 1;
}
