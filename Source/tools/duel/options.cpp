// Reading the command line.
#include "tools/duel/options.h"

#include "tools/duel/climb.h"

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace {

constexpr const char* USAGE =
    "Usage: tarn_duel [options] FIRST.txt SECOND.txt\n"
    "       tarn_duel [options] --climb OUT.txt START.txt\n"
    "Plays pairs of quick games between two parameter texts of the hand-crafted evaluation, or tunes one by such\n"
    "games. \"built-in\" in place of a file names the program's own text.\n"
    "  --openings FILE   EPD positions to start from, with 0 to 4 random moves after them; may be given\n"
    "                    several times (without: 8 to 10 random moves from the start position)\n"
    "  --pairs N         of games (1000)\n"
    "  --nodes N         searched for each move (1000)\n"
    "  --processes N     one for each core (1)\n"
    "  --seed N          of the starts and of the climb (1)\n"
    "  --towards FILE    climbs along the way to this text, table by table; may be given six times\n"
    "                    (without: along the height and the slope of each table)\n"
    "  --distance X      centipawns, or percent of the way, that a climb tries to both sides, at first (8)\n"
    "  --rate X          share of the distance that a won game moves a climb, at first (0.02)\n";

// True when the option is known and its argument makes sense.
bool set_option(DuelOptions& options, std::string_view name, const char* value) {
    const auto whole = static_cast<std::uint64_t>(std::strtoull(value, nullptr, 10));
    const double number = std::atof(value);
    if (name == "--openings") return options.openings.emplace_back(value), true;
    if (name == "--climb") return !(options.climb = value).empty();
    if (name == "--towards") return options.towards.emplace_back(value), options.towards.size() <= MAX_FAMILIES;
    if (name == "--pairs") return (options.pairs = whole) > 0;
    if (name == "--nodes") return (options.nodes = whole) >= 10;
    if (name == "--seed") return options.seed = whole, true;
    if (name == "--processes") return (options.processes = static_cast<int>(number)) >= 1 && number <= 256;
    if (name == "--distance") return (options.distance = number) >= 1 && number <= 100;
    if (name == "--rate") return (options.rate = number) > 0 && number <= 1;
    return false;
}

}  // namespace

bool read_duel_options(int count, const char* const* arguments, DuelOptions& options) {
    for (int i = 1; i < count; ++i) {
        const std::string_view argument = arguments[i];
        if (!argument.starts_with("--")) {
            options.params.emplace_back(argument);
        } else if (++i == count || !set_option(options, argument, arguments[i])) {
            std::fprintf(stderr, "%s: unknown, or without a sensible argument\n", arguments[i - 1]);
            return false;
        }
    }
    if (!options.towards.empty() && options.climb.empty()) {
        std::fputs("--towards is for --climb\n", stderr);
        return false;
    }
    return options.params.size() == (options.climb.empty() ? 2u : 1u);
}

void print_duel_usage() {
    std::fputs(USAGE, stderr);
}
