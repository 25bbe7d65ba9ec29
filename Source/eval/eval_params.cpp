// The parameter registry: registration in the fixed order, and the reader of parameter text.
#include "eval/eval_params.h"

#include "eval/hce.h"
#include "frontend/base/output.h"
#include "frontend/base/settings.h"
#include "platform/file_ops.h"
#include "platform/words.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <string>

EvalParams eval_params[MAX_EVAL_PARAMS];
int eval_param_count = 0;

namespace {

using namespace eval_param;

struct ScalarParam {
    Handle& handle;
    const char* name;
    int provisional = 0;  // both halves, until text is loaded
};

// clang-format off
const ScalarParam SCALARS[SCALAR_PARAMS] = {
    {mtl_pawn, "mtl_pawn", 100}, {mtl_knight, "mtl_knight", 335}, {mtl_bishop, "mtl_bishop", 335},
    {mtl_rook, "mtl_rook", 535}, {mtl_queen, "mtl_queen", 1000}, {bishop_pair, "bishop_pair"},
    {knight_mobility, "knight_mobility"}, {bishop_mobility, "bishop_mobility"}, {rook_mobility, "rook_mobility"},
    {queen_mobility, "queen_mobility"},
    {ppawn_base, "ppawn_base"}, {ppawn_mobile, "ppawn_mobile"}, {ppawn_free, "ppawn_free"},
    {ppawn_connected, "ppawn_connected"}, {ppawn_fkprox, "ppawn_fkprox"}, {ppawn_ekprox, "ppawn_ekprox"},
    {ppawn_candidate, "ppawn_candidate"},
    {pawn_isolated, "pawn_isolated"}, {pawn_weak, "pawn_weak"}, {pawn_blocked, "pawn_blocked"},
    {pawn_doubled, "pawn_doubled"},
    {knight_outpost, "knight_outpost"}, {bishop_infiltration, "bishop_infiltration"},
    {bishop_outpost, "bishop_outpost"}, {bishop_rampawns, "bishop_rampawns"},
    {rook_infiltration, "rook_infiltration"}, {rook_openfile, "rook_openfile"}, {rook_7th, "rook_7th"},
    {pawn_shield, "pawn_shield"}, {enemy_checks, "enemy_checks"}, {king_danger1, "king_danger1"},
    {king_danger2, "king_danger2"}, {king_trapped, "king_trapped"}, {king_pawn_dist, "king_pawn_dist"},
    {hung_pawn, "hung_pawn"}, {attacked_pawn, "attacked_pawn"}, {hung_minor, "hung_minor"},
    {attacked_minor, "attacked_minor"}, {hung_major, "hung_major"}, {ppush_threat, "ppush_threat"},
    {pinned_piece, "pinned_piece"},
    {mtl_imbalance, "mtl_imbalance"}, {stm_bonus, "stm_bonus"},
};
// clang-format on

struct TableParam {
    Handle* handles;
    const char* name;
};

const TableParam TABLES[TABLE_PARAMS] = {
    {PST_P1, "PST_P1"}, {PST_P2, "PST_P2"}, {PST_CP, "PST_CP"}, {PST_DP, "PST_DP"}, {PST_N, "PST_N"},
    {PST_B, "PST_B"},   {PST_R, "PST_R"},   {PST_Q, "PST_Q"},   {PST_K, "PST_K"},
};

void store(EvalParams& param, int mg, int eg) {
    param.packed = static_cast<std::int32_t>(pack(mg, eg));
    param.mg = static_cast<float>(mg);
    param.eg = static_cast<float>(eg);
}

// Cuts the next line off the text: ended by a line feed or a blank, carriage returns skipped, at most 1023
// characters (what is longer goes on as the next line).
std::string next_line(std::string_view& text) {
    constexpr std::size_t longest = 1023;
    std::string line;
    while (!text.empty() && line.size() < longest) {
        const char c = text.front();
        text.remove_prefix(1);
        if (c == '\n' || c == ' ') break;
        if (c != '\r') line += c;
    }
    return line;
}

// Cuts the text up to the next comma off the line.
std::string_view next_field(std::string_view& line) {
    const std::size_t comma = line.find(',');
    const std::string_view field = line.substr(0, comma);
    line.remove_prefix(comma == std::string_view::npos ? line.size() : comma + 1);
    return field;
}

// A value must fit into its half of a packed score, with room for sums of several.
int next_number(std::string_view& line) {
    constexpr int largest = 32000;
    std::string_view field = next_field(line);
    if (field.starts_with('+')) field.remove_prefix(1);
    int value = 0;
    const auto result = std::from_chars(field.data(), field.data() + field.size(), value);
    if (result.ec == std::errc::result_out_of_range) value = field.starts_with('-') ? -largest : largest;
    return std::clamp(value, -largest, largest);
}

int pairs_on_line(std::string_view name) {
    if (contains(name, "PST")) return 64;
    return contains(name, "ttune") ? SPARE_PARAMS : 1;
}

// Appends a record and points the handle at it.
void register_param(Handle& handle, std::string_view name, int provisional = 0) {
    EvalParams& param = eval_params[eval_param_count];
    param = {};
    store(param, provisional, provisional);
    name.copy(param.name, sizeof param.name - 1);
    handle = &param;
    ++eval_param_count;
}

}  // namespace

void register_params() {
    eval_param_count = 0;
    for (const ScalarParam& scalar : SCALARS) register_param(scalar.handle, scalar.name, scalar.provisional);
    for (const TableParam& table : TABLES) {
        for (int square = 0; square < 64; ++square) register_param(table.handles[square], table.name);
    }
    for (Handle& handle : ttune) register_param(handle, "ttune");
    derive_hce_weights();
}

void load_params_text(std::string_view text) {
    int record = 0;
    while (!text.empty()) {
        const std::string line = next_line(text);
        if (line.empty() || contains(line, "start") || contains(line, "(") || contains(line, ")")) continue;
        std::string_view numbers = line;
        const std::string name(next_field(numbers));
        if (name == "mtl_pawn") record = 0;
        for (int pairs = pairs_on_line(name); pairs > 0 && record < eval_param_count; --pairs, ++record) {
            EvalParams& param = eval_params[record];
            const int mg = next_number(numbers);
            const int eg = next_number(numbers);
            if (name != param.name) print_format("error %s  %s", name.c_str(), param.name);
            store(param, mg, eg);
        }
    }
    derive_hce_weights();
}

void load_default_params() {
    load_params_text({default_params, static_cast<std::size_t>(default_params_end - default_params)});
}

bool load_params_file(const char* name) {
    const OpenFile file(open_file(name, "rb"));
    if (!file) return false;
    // Several times the longest sensible text: a larger file is something else.
    constexpr std::size_t largest = 65536;
    std::string text(largest, '\0');
    text.resize(std::fread(text.data(), 1, text.size(), file.get()));
    if (!text.starts_with("start")) return false;
    load_params_text(text);
    return true;
}

void init_eval_params() {
    register_params();
    load_default_params();
    load_params_file(settings.param_file);
}
