// The switches of self-play, and which of them go together.
#include "training/selfplay/options.h"

#include <utility>

namespace {

constexpr const char* INTRODUCTION =
    R"(Self-play: games of the engine against itself, as training data.

  tarn_selfplay --output PREFIX [options]
  tarn_selfplay --merge OUT.bin IN.bin... [--holdout PERCENT] [--seed N]
  tarn_selfplay --vary OUT.bin IN.bin... [--copies N] [--seed N] [evaluation]
  tarn_selfplay --endings OUT.bin MATERIAL... --syzygy PATH [--count N] [--seed N]

)";

// "A-B", "A..B" or one number.
std::string set_range(std::string_view text, int& low, int& high) {
    constexpr std::uint64_t MOST = 40;
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    const std::size_t mark = text.find_first_not_of("0123456789");
    std::string_view rest = mark == std::string_view::npos ? text : text.substr(mark);
    if (mark != std::string_view::npos) rest.remove_prefix(rest.starts_with("..") ? 2 : rest.starts_with("-") ? 1 : 0);
    if (!read_whole(text.substr(0, mark), 0, MOST, first) || !read_whole(rest, first, MOST, last)) {
        return "needs a range such as 8-10, within 0 to 40, not " + std::string(text);
    }
    low = static_cast<int>(first);
    high = static_cast<int>(last);
    return {};
}

std::string set_formats(std::string_view text, SelfplayOptions& options) {
    while (true) {
        const std::size_t comma = text.find(',');
        const std::string_view format = text.substr(0, comma);
        if (format == "bin") {
            options.write_bin = true;
        } else if (format == "epd") {
            options.write_epd = true;
        } else if (format == "pgn") {
            options.write_pgn = true;
        } else {
            return "needs bin, epd or pgn, not " + std::string(format.empty() ? "nothing" : format);
        }
        if (comma == std::string_view::npos) return {};
        text.remove_prefix(comma + 1);
    }
}

std::string set_labels(std::string_view text, SelfplayOptions& options) {
    if (text != "result" && text != "score") return "needs result or score, not " + std::string(text);
    options.score_labels = text == "score";
    return {};
}

std::string set_adjudication(std::string_view text, SelfplayOptions& options) {
    if (text != "all" && text != "wins" && text != "draws" && text != "none") {
        return "needs all, wins, draws or none, not " + std::string(text);
    }
    options.adjudicate_wins = text == "all" || text == "wins";
    options.adjudicate_draws = text == "all" || text == "draws";
    return {};
}

std::vector<Switch> playing_switches(SelfplayOptions& o) {
    using Text = std::string_view;
    return {
        {nullptr, nullptr,
         "Playing. Files are PREFIX.bin, .epd, .pgn and .state, with several processes PREFIX.0.bin and so on."},
        {nullptr, nullptr, "Started again with the same prefix, it appends new games."},
        {"--output", "PREFIX", "where the games go", name_in(o.output)},
        {"--games", "N", "games of this run (0, the default: until interrupted)",
         number_in(o.games, 0, 1'000'000'000'000)},
        {"--processes", "N", "players, one for each core (1..256, default 1)", number_in(o.processes, 1, 256)},
        {"--nodes", "N", "nodes searched for each move (10..100000000, default 1000)",
         number_in(o.nodes, 10, 100'000'000)},
        {"--seed", "N", "the same seed gives the same games (default: from the clock; merging: 0)",
         number_in(o.seed, 0, UINT64_MAX)},
        {"--deviations", "N", "at each move, N tries for a position a few random moves off the game (0..16, default 0)",
         number_in(o.deviations, 0, 16)},
        {"--samples", "N", "at each move, N tries for a position from inside its search (0..16, default 0)",
         number_in(o.samples, 0, 16)},
        {"--deviation-nodes", "N", "nodes searched for each of these (10..100000000, default 150)",
         number_in(o.deviation_nodes, 10, 100'000'000)},
        {"--labels", "WHAT", "result: of the game (default); score: the search score in its place",
         [&o](Text text) { return set_labels(text, o); }},
        {"--format", "LIST", "of bin, epd, pgn, separated by commas (default bin)",
         [&o](Text text) { return set_formats(text, o); }},
        {nullptr, nullptr, "Starts."},
        {"--random-plies", "A-B", "random moves from the start position (0..40, default 8-10)",
         [&o](Text text) { return set_range(text, o.random_plies_low, o.random_plies_high); }},
        {"--openings", "FILE", "EPD positions to start from; may be given several times", names_in(o.openings)},
        {"--opening-share", "N", "percent of the games that start from them (default 50)",
         number_in(o.opening_share, 0, 100)},
        {nullptr, nullptr, "Evaluation."},
        {"--nn", nullptr, "network evaluation (default)", flag_in(o.use_network, true)},
        {"--hce", nullptr, "hand-crafted evaluation", flag_in(o.use_network, false)},
        {"--network", "FILE", "network file (default: the built-in network)", name_in(o.network, LONGEST_NAME)},
        {"--params", "FILE", "parameters of the hand-crafted evaluation (default: the built-in ones)",
         name_in(o.params, LONGEST_NAME)},
        {"--hash", "MB", "transposition table of each process (1..1024, default 4)", number_in(o.hash_mb, 1, 1024)},
        {nullptr, nullptr, "Ends. Mate, stalemate, repetition, fifty moves, no material to mate with, and:"},
        {"--adjudicate", "WHAT", "all, wins, draws or none: end games whose result is clear (default all)",
         [&o](Text text) { return set_adjudication(text, o); }},
        {"--adjudicate-share", "N", "percent of the games in which that is done (default 75)",
         number_in(o.adjudicate_share, 0, 100)},
        {"--syzygy", "PATH", "endgame tables that settle the result as soon as they know it",
         name_in(o.syzygy, LONGEST_NAME)},
    };
}

std::vector<Switch> record_switches(SelfplayOptions& o) {
    return {
        {nullptr, nullptr,
         "Merging: the records of all inputs without damaged ones and repeated positions, in random order."},
        {"--merge", "OUT IN...", "names end in .bin", name_in(o.merge_output)},
        {"--holdout", "N", "percent of the records, in stretches of games, for OUT-holdout.bin (0..50)",
         number_in(o.holdout, 0, 50)},
        {nullptr, nullptr,
         "Varying: positions one to four random moves off those of the inputs, labelled by the static evaluation."},
        {"--vary", "OUT IN...", "names end in .bin", name_in(o.vary_output)},
        {"--copies", "N", "tries for each record of the inputs (1..1000, default 4)", number_in(o.copies, 1, 1000)},
        {nullptr, nullptr, "Endings: random positions of materials such as KRPvKR, labelled by the endgame tables."},
        {"--endings", "OUT NAME...", "a file whose name ends in .bin, and the materials; needs --syzygy",
         name_in(o.endings_output)},
        {"--count", "N", "records of each material (1..100000000, default 1000000)",
         number_in(o.count, 1, 100'000'000)},
    };
}

bool check(SelfplayOptions& options) {
    const std::pair<const char*, const std::string&> modes[] = {{"--output", options.output},
                                                                {"--merge", options.merge_output},
                                                                {"--vary", options.vary_output},
                                                                {"--endings", options.endings_output}};
    const char* mode = nullptr;
    for (const auto& [name, output] : modes) {
        if (output.empty()) continue;
        if (mode) return complain_of(mode, std::string("does not go with ") + name);
        mode = name;
    }
    const bool plays = !options.output.empty();
    if (mode && !plays) {
        if (options.inputs.empty()) return complain_of(mode, "needs at least one input");
        if (!options.endings_output.empty() && options.syzygy.empty()) return complain_of(mode, "needs --syzygy");
        return true;
    }
    if (!options.inputs.empty()) return complain_of(options.inputs.front(), "not an option");
    if (!plays) return complain_of("--output", "missing; --help lists the options");
    if (options.openings.empty()) options.opening_share = 0;
    if (!options.write_bin && !options.write_epd && !options.write_pgn) options.write_bin = true;
    return true;
}

}  // namespace

SwitchesResult read_options(int count, const char* const* arguments, SelfplayOptions& options) {
    std::vector<Switch> switches = playing_switches(options);
    for (Switch& more : record_switches(options)) switches.push_back(std::move(more));
    const SwitchesResult result = read_switches(count, arguments, switches, options.inputs);
    if (result == SwitchesResult::HELP) print_switches(INTRODUCTION, switches);
    if (result != SwitchesResult::RUN) return result;
    return check(options) ? SwitchesResult::RUN : SwitchesResult::BAD;
}
