// Writes parameter text, and tables as text.
#include "training/tune/params_text.h"

#include "frontend/base/output.h"

#include <algorithm>
#include <cmath>

namespace {

// The nearest numbers that are written with one character less and one more; n itself where there is none to be had.
int shorter(int n) {
    if (n < 0) return n > -10 ? 0 : n > -100 ? -9 : -99;
    return n < 10 ? n : n < 100 ? 9 : 99;
}
int longer(int n) {
    if (n < 0) return n > -10 ? -10 : std::min(n, -100);
    if (n > 9) return std::max(n, 100);
    return n < 5 ? -1 : 10;
}

// A value to be written with a character more or less.
struct Resize {
    std::size_t value;
    int number;
    double cost;
};

int rounded(double value) {
    return static_cast<int>(std::lround(value));
}

// At most five characters: 987, 12.3k, 4.56M.
std::string short_count(std::uint64_t count) {
    const double n = static_cast<double>(count);
    if (count < 1000) return format_text("%d", static_cast<int>(count));
    if (n < 99950) return format_text("%.1fk", n / 1e3);
    if (n < 999500) return format_text("%.0fk", n / 1e3);
    return format_text("%.2fM", n / 1e6);
}

void print_value(std::FILE* out, int entry, float value) {
    if (!is_used_entry(entry)) {
        std::fprintf(out, "    .");
    } else {
        std::fprintf(out, "%4d%c", rounded(static_cast<double>(value)), is_free_entry(entry) ? ' ' : '=');
    }
}

void print_rank(std::FILE* out, int table, int rank, const std::array<std::uint64_t, TABLE_ENTRIES>& counts) {
    const auto entry_of = [&](int file) { return table_entry(table, make_square(file, rank)); };
    std::fprintf(out, "%d ", rank + 1);
    for (const auto half : {&EvalParams::mg, &EvalParams::eg}) {
        for (int file = 0; file < 8; ++file) {
            print_value(out, entry_of(file), eval_params[first_table_param + entry_of(file)].*half);
        }
        std::fprintf(out, " |");
    }
    for (int file = 0; file < 8; ++file) {
        const int entry = entry_of(file);
        const std::string count = is_free_entry(entry) ? short_count(counts[static_cast<std::size_t>(entry)]) : ".";
        std::fprintf(out, " %5s", count.c_str());
    }
    std::fprintf(out, "\n");
}

}  // namespace

double table_value(std::size_t value) {
    const EvalParams& param = eval_params[static_cast<std::size_t>(first_table_param) + value / 2];
    return static_cast<double>(value % 2 ? param.eg : param.mg);
}

std::string params_text(const TableChange& change) {
    constexpr double NO_CHANGES[] = {0, 0};
    std::string text = "start\n";
    for (int i = 0; i < eval_param_count; ++i) {
        const EvalParams& param = eval_params[i];
        const int entry = i - first_table_param;
        const bool first_of_line = i == 0 || std::string_view(param.name) != eval_params[i - 1].name;
        if (first_of_line) text += format_text("%s%s", i == 0 ? "" : "\n", param.name);
        const bool in_table = entry >= 0 && entry < TABLE_ENTRIES;
        const double* const changes = in_table ? &change[2 * static_cast<std::size_t>(entry)] : NO_CHANGES;
        text += format_text(",%d,%d", rounded(static_cast<double>(param.mg) + changes[0]),
                            rounded(static_cast<double>(param.eg) + changes[1]));
    }
    return text + "\n";
}

std::size_t fixed_text_length() {
    return static_cast<std::size_t>(default_params_end - default_params);
}

bool fit_text_length(TableChange& change, const TableChange& curvature, std::size_t length) {
    const std::size_t now = params_text(change).size();
    const std::size_t needed = now > length ? now - length : length - now;
    std::vector<Resize> choices;
    for (std::size_t v = 0; v < change.size(); ++v) {
        if (!is_free_entry(static_cast<int>(v / 2))) continue;
        const double best = table_value(v) + change[v];
        const int plain = rounded(best);
        const int other = now > length ? shorter(plain) : longer(plain);
        const double off = other - best, off_plain = plain - best;
        // What no position shows costs nothing by the error; it still keeps near its value.
        if (other != plain) choices.push_back({v, other, (curvature[v] + 1e-12) * (off * off - off_plain * off_plain)});
    }
    if (choices.size() < needed) return false;
    std::sort(choices.begin(), choices.end(), [](const Resize& a, const Resize& b) { return a.cost < b.cost; });
    choices.resize(needed);
    for (const Resize& choice : choices) change[choice.value] = choice.number - table_value(choice.value);
    return true;
}

void print_tables(std::FILE* out, const std::array<std::uint64_t, TABLE_ENTRIES>& counts) {
    for (int table = 0; table < TABLE_PARAMS; ++table) {
        std::fprintf(out, "%s%*smiddle game | end game | positions\n", eval_params[first_table_param + table * 64].name,
                     24, "");
        for (int rank = 7; rank >= 0; --rank) print_rank(out, table, rank, counts);
        std::fprintf(out, "\n");
    }
}
