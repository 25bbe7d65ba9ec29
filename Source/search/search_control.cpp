// The one SearchControl record.
#include "search/search_control.h"

SearchControl search_control;
