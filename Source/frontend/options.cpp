// The option table and what setting an option entails.
#include "frontend/options.h"

#include "eval/evaluate.h"
#include "eval/network.h"
#include "frontend/base/output.h"
#include "frontend/base/program_end.h"
#include "frontend/base/settings.h"
#include "frontend/config_file.h"
#include "platform/words.h"
#include "search/hash_table.h"
#include "search/search_control.h"
#include "syzygy/tbprobe.h"

#include <algorithm>
#include <cstdio>
#include <span>

namespace {

constexpr std::string_view EMPTY_TEXT = "<empty>";  // UCI has no other way to write it

enum class OptionKind { CHECK, SPIN, STRING, BUTTON };

// Where the default that is listed comes from.
enum Listed { DEFAULT_COPY, CURRENT };

struct Option;
struct OptionHooks {
    void (*after)(int value) = nullptr;                              // work that a new value entails
    void (*list)(const Option&) = nullptr;                           // listing that differs from its kind's
    void (*apply)(const Option&, std::string_view value) = nullptr;  // setting that differs from its kind's
};

struct Option {
    const char* name;
    OptionKind kind;
    int min = 0;
    int max = 0;
    Listed listed = DEFAULT_COPY;
    int (*get)(const Settings&) = nullptr;
    void (*set)(Settings&, int) = nullptr;
    std::span<char> (*text)(Settings&) = nullptr;
    bool may_be_empty = false;  // takes the protocol's word for the empty text
    OptionHooks hooks = {};
};

template <auto FIELD>
constexpr int get_field(const Settings& s) {
    return s.*FIELD;
}

template <auto FIELD>
constexpr void set_field(Settings& s, int value) {
    s.*FIELD = static_cast<std::remove_reference_t<decltype(s.*FIELD)>>(value);
}

template <auto FIELD>
constexpr std::span<char> text_field(Settings& s) {
    return s.*FIELD;
}

template <auto FIELD>
constexpr Option spin(const char* name, int min, int max, Listed listed = DEFAULT_COPY, OptionHooks hooks = {}) {
    return {name, OptionKind::SPIN, min, max, listed, get_field<FIELD>, set_field<FIELD>, nullptr, false, hooks};
}

template <auto FIELD>
constexpr Option check(const char* name, Listed listed = DEFAULT_COPY, OptionHooks hooks = {}) {
    return {name, OptionKind::CHECK, 0, 1, listed, get_field<FIELD>, set_field<FIELD>, nullptr, false, hooks};
}

template <auto FIELD>
constexpr Option string(const char* name, Listed listed, bool may_be_empty, OptionHooks hooks = {}) {
    return {name, OptionKind::STRING, 0, 0, listed, nullptr, nullptr, text_field<FIELD>, may_be_empty, hooks};
}

// The name of a file or of folders that may be given up again.
template <auto FIELD>
constexpr Option path(const char* name, OptionHooks hooks = {}) {
    return string<FIELD>(name, DEFAULT_COPY, true, hooks);
}

// --- Listing -------------------------------------------------------------------------------------------------

Settings& listed_settings(const Option& option) {
    return option.listed == CURRENT ? settings : default_settings;
}

void print_spin(const char* name, int value, int min, int max) {
    print_format("option name %s type spin default %d min %d max %d", name, value, min, max);
}

// The setter also takes 0 threads; interfaces are not offered that.
void list_threads(const Option& option) {
    print_spin(option.name, 1, 1, option.max);
}

// Full strength is what this machine was measured to reach.
void list_elo(const Option& option) {
    const int full_strength = static_cast<int>(settings.max_elo);
    if (default_settings.uci_elo == 0) default_settings.uci_elo = static_cast<std::int16_t>(full_strength);
    print_spin(option.name, default_settings.uci_elo, option.min, full_strength);
}

void list_opponent(const Option& option) {
    print_format("option name %s type string default ", option.name);
}

void list_option(const Option& option) {
    if (option.hooks.list) return option.hooks.list(option);
    Settings& from = listed_settings(option);
    switch (option.kind) {
        case OptionKind::CHECK:
            print_format("option name %s type check default %s", option.name, option.get(from) ? "true" : "false");
            break;
        case OptionKind::SPIN: print_spin(option.name, option.get(from), option.min, option.max); break;
        case OptionKind::STRING:
            print_format("option name %s type string default %s", option.name, option.text(from).data());
            break;
        case OptionKind::BUTTON: print_format("option name %s type button", option.name); break;
    }
}

// --- Setting -------------------------------------------------------------------------------------------------

void report_value(const char* name, int value) {
    print_format("info string %s set to %d", name, value);
}

// Scores of one evaluation must not meet those of another.
void forget_scores() {
    invalidate_eval_caches();
    hash_clear();
}

void reallocate_hash(int) {
    if (!resize_hash_table()) end_program(-1);
}

void reload_network(int) {
    load_network();
    forget_scores();
}

void widen_seven_piece_depth(int value) {
    settings.syzygy_probe_depth7 = static_cast<std::int8_t>(std::max(value, 7));
}

void press_clear_hash(const Option&, std::string_view) {
    hash_clear();
    print_line("info string Hash table cleared");
}

void apply_use_nn(const Option& option, std::string_view value) {
    const int use = contains(value, "true");
    report_value(option.name, use);
    if (settings.use_nn == use) return;
    settings.use_nn = static_cast<std::uint8_t>(use);
    forget_scores();
}

// "title rating computer|human name"; only the rating counts.
void apply_opponent(const Option& option, std::string_view value) {
    const std::size_t blank = value.find(' ');
    const std::string_view rating = blank == std::string_view::npos ? "" : value.substr(blank);
    const int elo = read_int(rating, option.min, option.max);
    report_value("opponent_elo", elo);
    option.set(settings, elo);
}

void apply_option(const Option& option, std::string_view value) {
    if (option.hooks.apply) return option.hooks.apply(option, value);
    int number = 0;
    if (option.kind == OptionKind::STRING) {
        copy_text(option.text(settings), option.may_be_empty && value == EMPTY_TEXT ? "" : value);
        print_format("info string %s set to '%s'", option.name, option.text(settings).data());
    } else {
        number = option.kind == OptionKind::CHECK ? contains(value, "true") : read_int(value, option.min, option.max);
        report_value(option.name, number);
        option.set(settings, number);
    }
    if (option.hooks.after) option.hooks.after(number);
}

// In the order of the listing.
constexpr Option OPTIONS[] = {
    path<&Settings::config_file>("ConfigFilePath", {.after = [](int) { load_config(); }}),
    spin<&Settings::hash_mb>("Hash", 0, 32768, CURRENT, {.after = reallocate_hash}),
    spin<&Settings::threads>("Threads", 0, 160, DEFAULT_COPY, {.list = list_threads}),
    {.name = "Clear Hash", .kind = OptionKind::BUTTON, .hooks = {.apply = press_clear_hash}},
    string<&Settings::nn_file>("NN_File", CURRENT, false, {.after = reload_network}),
    check<&Settings::use_nn>("Use_NN_eval", CURRENT, {.apply = apply_use_nn}),
    check<&Settings::own_book>("OwnBook"),
    path<&Settings::book_file>("OwnBook_File"),
    spin<&Settings::book_depth>("OwnBook_Depth", 0, 60),
    path<&Settings::book2_file>("OwnBook2_File"),
    spin<&Settings::book2_depth>("OwnBook2_Depth", 0, 60),
    spin<&Settings::book_variety>("OwnBook_Variety", 0, 100),
    path<&Settings::syzygy_path>("SyzygyPath", {.after = [](int) { tb_init(); }}),
    spin<&Settings::syzygy_probe_depth>("SyzygyProbeDepth6", -5, 100, DEFAULT_COPY, {.after = widen_seven_piece_depth}),
    check<&Settings::log>("Log", DEFAULT_COPY, {.after = [](int) { open_log(); }}),
    check<&Settings::ponder>("Ponder"),
    spin<&Settings::multipv>("MultiPV", 1, 255),
    check<&Settings::chess960>("UCI_Chess960", CURRENT),
    spin<&Settings::move_overhead>("MoveOverhead", 0, 1000),
    check<&Settings::limit_strength>("UCI_LimitStrength"),
    spin<&Settings::uci_elo>("UCI_Elo", 1500, 3300, DEFAULT_COPY, {.list = list_elo}),
    spin<&Settings::opponent_elo>("UCI_Opponent", 0, 4000, DEFAULT_COPY,
                                  {.list = list_opponent, .apply = apply_opponent}),
    spin<&Settings::contempt>("Contempt", -150, 150),
    spin<&Settings::selectivity>("Selectivity", 0, 200),
};

}  // namespace

void set_option(std::string_view name, std::string_view value) {
    for (const Option& option : OPTIONS) {
        if (name == option.name) return apply_option(option, value);
    }
}

void print_option_list() {
    print_format("id name %s", ENGINE_NAME);
    print_format("id author %s", ENGINE_AUTHOR);
    for (const Option& option : OPTIONS) list_option(option);
    print_line("uciok");
}

bool resize_hash_table() {
    if (hash_allocate()) return true;
    std::fprintf(stderr, "no memory for a transposition table of %d MB\n", settings.hash_mb);
    return false;
}
