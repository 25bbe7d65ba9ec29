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

constexpr const char* TABLES[TABLE_PARAMS] = {"PST_P1", "PST_P2", "PST_CP", "PST_DP", "PST_N",
                                              "PST_B",  "PST_R",  "PST_Q",  "PST_K"};

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

// Appends a record.
void register_param(std::string_view name, int provisional) {
    EvalParams& param = eval_params[eval_param_count++];
    param = {};
    store(param, provisional, provisional);
    name.copy(param.name, sizeof param.name - 1);
}

void register_param_zero(std::string_view name) {
    register_param(name, 0);
}

}  // namespace

void register_params() {
    eval_param_count = 0;
#define TARN_REGISTER(name, provisional) register_param(#name, provisional);
    TARN_SCALAR_PARAMS(TARN_REGISTER)
#undef TARN_REGISTER
    for (const char* table : TABLES) {
        for (int square = 0; square < 64; ++square) register_param_zero(table);
    }
    for (int i = 0; i < SPARE_PARAMS; ++i) register_param_zero("ttune");
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
    const OwnedFile file(open_file(name, "rb"));
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
