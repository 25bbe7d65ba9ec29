// How long a search may run and how fast it may go.
#pragma once

// What the time of a search is read from, in seconds. Only tests put in another clock, while nothing searches.
extern double (*search_clock)();

// rating = 250 L + 850 - 5 L^2 with L the natural logarithm of nodes per second.
double nps_to_elo(double nps);
// Nodes per second for a rating, by bisection within 10..10,000,000.
double elo_to_nps(int elo);

// Prepares a search of game_record's position: start time, parameters, strength target, resets. Once per
// search, before any search thread starts.
void begin_search();

// Measures the elapsed time, recomputes the target and raises the stop flag when it is reached. Returns the seconds
// until that will be, as far as is known now; NOT_BY_TIME when only something else can end the search.
double update_clock();
constexpr double NOT_BY_TIME = -1;

// For an answer without a search (a book move): time, totals and result start from nothing.
void reset_search();

// Measures the elapsed time only.
void refresh_elapsed();
