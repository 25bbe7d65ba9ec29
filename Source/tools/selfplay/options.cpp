// Reading the command line: one table of options, every value checked.
#include "tools/selfplay/options.h"

#include <cctype>
#include <charconv>
#include <cstdio>
#include <string_view>
#include <utility>

namespace {

constexpr const char* USAGE =
    R"(Self-play: games of the engine against itself, as training data.

  tarn_selfplay --output PREFIX [options]
  tarn_selfplay --merge OUT.bin IN.bin... [--holdout PERCENT] [--seed N]
  tarn_selfplay --vary OUT.bin IN.bin... [--copies N] [--seed N] [evaluation]
  tarn_selfplay --endings OUT.bin MATERIAL... --syzygy PATH [--count N] [--seed N]
  tarn_selfplay --choices OUT.bin [--count N] [--nodes N] [--seed N] [starts] [evaluation]

Playing. Files are PREFIX.bin, .epd, .pgn and .state, with several processes PREFIX.0.bin, PREFIX.1.bin and so on.
Started again with the same prefix, it appends new games.
  --output PREFIX        where the games go
  --games N              games of this run (0, the default: until interrupted)
  --processes N          players, one for each core (1..256, default 1)
  --nodes N              nodes searched for each move (10..100000000, default 1000)
  --seed N               the same seed gives the same games (default: from the clock)
  --deviations N         at each move, N tries for a position a few random moves off the game (0..16, default 0)
  --deviation-nodes N    nodes searched for each of these (10..100000000, default 150)
  --labels WHAT          result: of the game (default); score: the search score in its place
  --format LIST          of bin, epd, pgn, separated by commas (default bin)
Starts.
  --random-plies A-B     random moves from the start position (0..40, default 8-10)
  --openings FILE        EPD positions to start from; may be given several times
  --opening-share N      percent of the games that start from them (default 50)
Evaluation.
  --nn, --hce            network or hand-crafted evaluation (default --nn)
  --network FILE         network file (default: the built-in network)
  --params FILE          parameters of the hand-crafted evaluation (default: the built-in ones)
  --hash MB              transposition table of each process (1..1024, default 4)
Ends. Mate, stalemate, repetition, fifty moves, no material to mate with, and:
  --adjudicate WHAT      all, wins, draws or none: end games whose result is clear (default all)
  --adjudicate-share N   percent of the games in which that is done; the others are played out (default 75)
  --syzygy PATH          endgame tables that settle the result as soon as they know it
Merging: the records of all inputs without damaged ones and without positions that occurred before, in random order.
  --merge OUT IN...      names end in .bin
  --holdout N            percent of the records, whole stretches of games, that go to OUT-holdout.bin instead (0..50)
Varying: positions one to four random moves off those of the inputs, labelled by the static evaluation.
  --vary OUT IN...       names end in .bin
  --copies N             tries for each record of the inputs (1..1000, default 4)
Endings: random positions of materials such as KRPvKR, labelled by the endgame tables.
  --endings OUT NAME...  a file whose name ends in .bin, and the materials; needs --syzygy
  --count N              records of each material (1..100000000, default 1000000)
Choices: positions of games with a score for every legal move, for the tuner of the hand-crafted evaluation.
  --choices OUT          a file whose name ends in .bin; --count positions, --nodes searched for each close move
)";

bool complain(std::string_view option, const std::string& message, std::string_view value = {}) {
    std::string line(option);
    line += ": " + message;
    if (!value.empty()) line.append(", not ").append(value);
    std::fprintf(stderr, "%s\n", line.c_str());
    return false;
}

// A whole number of decimal digits within low..high.
bool read_number(std::string_view text, std::uint64_t low, std::uint64_t high, std::uint64_t& number) {
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc{} || end != text.data() + text.size() || value < low || value > high) return false;
    number = value;
    return true;
}

bool set_number(std::string_view option, std::string_view text, std::uint64_t low, std::uint64_t high,
                std::uint64_t& number) {
    if (read_number(text, low, high, number)) return true;
    const std::string message = "needs a number from " + std::to_string(low) + " to " + std::to_string(high);
    return complain(option, message, text);
}

bool set_number(std::string_view option, std::string_view text, int low, int high, int& number) {
    std::uint64_t value = 0;
    if (!set_number(option, text, static_cast<std::uint64_t>(low), static_cast<std::uint64_t>(high), value))
        return false;
    number = static_cast<int>(value);
    return true;
}

bool set_text(std::string_view option, std::string_view text, std::size_t longest, std::string& value) {
    if (text.empty()) return complain(option, "needs a name");
    if (text.size() > longest) return complain(option, "name too long");
    value = text;
    return true;
}

// "A-B", "A..B" or one number.
bool set_range(std::string_view option, std::string_view text, int& low, int& high) {
    constexpr std::uint64_t MOST = 40;
    std::uint64_t first = 0;
    std::uint64_t last = 0;
    const std::size_t mark = text.find_first_not_of("0123456789");
    std::string_view rest = mark == std::string_view::npos ? text : text.substr(mark);
    if (mark != std::string_view::npos) rest.remove_prefix(rest.starts_with("..") ? 2 : rest.starts_with("-") ? 1 : 0);
    if (!read_number(text.substr(0, mark), 0, MOST, first) || !read_number(rest, first, MOST, last)) {
        return complain(option, "needs a range such as 8-10, within 0 to 40", text);
    }
    low = static_cast<int>(first);
    high = static_cast<int>(last);
    return true;
}

bool set_formats(std::string_view option, std::string_view text, SelfplayOptions& options) {
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
            return complain(option, "needs bin, epd or pgn", format.empty() ? "nothing" : format);
        }
        if (comma == std::string_view::npos) return true;
        text.remove_prefix(comma + 1);
    }
}

bool set_labels(std::string_view option, std::string_view text, SelfplayOptions& options) {
    if (text != "result" && text != "score") return complain(option, "needs result or score", text);
    options.score_labels = text == "score";
    return true;
}

bool set_adjudication(std::string_view option, std::string_view text, SelfplayOptions& options) {
    if (text != "all" && text != "wins" && text != "draws" && text != "none") {
        return complain(option, "needs all, wins, draws or none", text);
    }
    options.adjudicate_wins = text == "all" || text == "wins";
    options.adjudicate_draws = text == "all" || text == "draws";
    return true;
}

constexpr std::size_t LONGEST_NAME = 140;  // what the engine's settings hold
constexpr std::size_t LONGEST_PATH = 4000;

struct Option {
    const char* name;
    bool has_value;
    bool (*set)(std::string_view option, std::string_view value, SelfplayOptions& options);
};

using Text = std::string_view;
using Options = SelfplayOptions;
constexpr Option OPTIONS[] = {
    {"--output", true, [](Text o, Text v, Options& s) { return set_text(o, v, LONGEST_PATH, s.output); }},
    {"--games", true, [](Text o, Text v, Options& s) { return set_number(o, v, 0, 1'000'000'000'000, s.games); }},
    {"--processes", true, [](Text o, Text v, Options& s) { return set_number(o, v, 1, 256, s.processes); }},
    {"--nodes", true, [](Text o, Text v, Options& s) { return set_number(o, v, 10, 100'000'000, s.nodes); }},
    {"--seed", true, [](Text o, Text v, Options& s) { return set_number(o, v, 0, UINT64_MAX, s.seed); }},
    {"--deviations", true, [](Text o, Text v, Options& s) { return set_number(o, v, 0, 16, s.deviations); }},
    {"--deviation-nodes", true,
     [](Text o, Text v, Options& s) { return set_number(o, v, 10, 100'000'000, s.deviation_nodes); }},
    {"--labels", true, [](Text o, Text v, Options& s) { return set_labels(o, v, s); }},
    {"--format", true, [](Text o, Text v, Options& s) { return set_formats(o, v, s); }},
    {"--random-plies", true,
     [](Text o, Text v, Options& s) { return set_range(o, v, s.random_plies_low, s.random_plies_high); }},
    {"--openings", true,
     [](Text o, Text v, Options& s) { return set_text(o, v, LONGEST_PATH, s.openings.emplace_back()); }},
    {"--opening-share", true, [](Text o, Text v, Options& s) { return set_number(o, v, 0, 100, s.opening_share); }},
    {"--nn", false, [](Text, Text, Options& s) { return s.use_network = true; }},
    {"--hce", false, [](Text, Text, Options& s) { return !(s.use_network = false); }},
    {"--network", true, [](Text o, Text v, Options& s) { return set_text(o, v, LONGEST_NAME, s.network); }},
    {"--params", true, [](Text o, Text v, Options& s) { return set_text(o, v, LONGEST_NAME, s.params); }},
    {"--hash", true, [](Text o, Text v, Options& s) { return set_number(o, v, 1, 1024, s.hash_mb); }},
    {"--adjudicate", true, [](Text o, Text v, Options& s) { return set_adjudication(o, v, s); }},
    {"--adjudicate-share", true,
     [](Text o, Text v, Options& s) { return set_number(o, v, 0, 100, s.adjudicate_share); }},
    {"--syzygy", true, [](Text o, Text v, Options& s) { return set_text(o, v, LONGEST_NAME, s.syzygy); }},
    {"--merge", true, [](Text o, Text v, Options& s) { return set_text(o, v, LONGEST_PATH, s.merge_output); }},
    {"--vary", true, [](Text o, Text v, Options& s) { return set_text(o, v, LONGEST_PATH, s.vary_output); }},
    {"--copies", true, [](Text o, Text v, Options& s) { return set_number(o, v, 1, 1000, s.copies); }},
    {"--endings", true, [](Text o, Text v, Options& s) { return set_text(o, v, LONGEST_PATH, s.endings_output); }},
    {"--choices", true, [](Text o, Text v, Options& s) { return set_text(o, v, LONGEST_PATH, s.choices_output); }},
    {"--count", true, [](Text o, Text v, Options& s) { return set_number(o, v, 1, 100'000'000, s.count); }},
    {"--holdout", true, [](Text o, Text v, Options& s) { return set_number(o, v, 0, 50, s.holdout); }},
};

const Option* find_option(std::string_view name) {
    for (const Option& option : OPTIONS) {
        if (name == option.name) return &option;
    }
    return nullptr;
}

bool check(SelfplayOptions& options) {
    const std::pair<const char*, const std::string&> modes[] = {{"--output", options.output},
                                                                {"--merge", options.merge_output},
                                                                {"--vary", options.vary_output},
                                                                {"--endings", options.endings_output},
                                                                {"--choices", options.choices_output}};
    const char* mode = nullptr;
    for (const auto& [name, output] : modes) {
        if (output.empty()) continue;
        if (mode) return complain(mode, std::string("does not go with ") + name);
        mode = name;
    }
    const bool plays = !options.output.empty() || !options.choices_output.empty();
    if (mode && !plays) {
        if (options.inputs.empty()) return complain(mode, "needs at least one input");
        if (!options.endings_output.empty() && options.syzygy.empty()) return complain(mode, "needs --syzygy");
        return true;
    }
    if (!options.inputs.empty()) return complain(options.inputs.front(), "not an option");
    if (!plays) return complain("--output", "missing; --help lists the options");
    if (options.openings.empty()) options.opening_share = 0;
    if (!options.write_bin && !options.write_epd && !options.write_pgn) options.write_bin = true;
    return true;
}

}  // namespace

OptionsResult read_options(int count, const char* const* arguments, SelfplayOptions& options) {
    for (int i = 1; i < count; ++i) {
        const std::string_view argument = arguments[i];
        if (argument == "--help" || argument == "-h") return OptionsResult::HELP;
        if (!argument.starts_with("-")) {
            options.inputs.emplace_back(argument);
            continue;
        }
        const Option* const option = find_option(argument);
        if (!option) return complain(argument, "unknown option; --help lists them"), OptionsResult::BAD;
        std::string_view value;
        if (option->has_value) {
            if (i + 1 >= count) return complain(argument, "needs a value"), OptionsResult::BAD;
            value = arguments[++i];
        }
        if (!option->set(argument, value, options)) return OptionsResult::BAD;
    }
    return check(options) ? OptionsResult::RUN : OptionsResult::BAD;
}

void print_usage() {
    std::fputs(USAGE, stdout);
}
