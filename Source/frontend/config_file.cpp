// Reading the configuration file.
#include "frontend/config_file.h"

#include "frontend/base/output.h"
#include "frontend/base/program_end.h"
#include "frontend/base/settings.h"
#include "frontend/options.h"
#include "platform/file_ops.h"
#include "search/search_control.h"

#include <cerrno>
#include <cstdio>
#include <string>
#include <string_view>

namespace {

constexpr std::size_t MAX_CONFIG_LINE = 254;
constexpr std::size_t MAX_NAME = 100;
constexpr std::size_t MAX_VALUE = 200;
constexpr std::size_t SHORTEST_LINE = 4;  // line feed included
constexpr int MAX_NESTING = 8;
constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";  // some editors begin a file with it

int nesting = 0;
bool refused = false;  // too deep once: the files of this load load no others, or loops would multiply

// Reads a line, its line feed kept and one carriage return before it dropped; what goes beyond the longest
// line is skipped.
bool read_line(std::FILE* file, std::string& line) {
    line.clear();
    int c;
    while ((c = std::getc(file)) != EOF && c != '\n') {
        if (line.size() < MAX_CONFIG_LINE) line += static_cast<char>(c);
    }
    if (c == EOF && line.empty()) return false;
    if (c == '\n') {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        line += '\n';
    }
    return true;
}

void apply_line(std::string_view line) {
    if (line.starts_with(BYTE_ORDER_MARK)) line.remove_prefix(BYTE_ORDER_MARK.size());
    if (line.size() < SHORTEST_LINE) return;
    line = line.substr(0, line.find_first_of("#\n"));
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) return;

    std::string_view name = line.substr(0, equals);
    name = name.substr(0, name.find_last_not_of(' ') + 1).substr(0, MAX_NAME);
    std::string_view value = line.substr(equals + 1);
    value.remove_prefix(std::min(value.find_first_not_of(' '), value.size()));
    if (search_control.think_flags == 0) set_option(name, value.substr(0, MAX_VALUE));
}

}  // namespace

bool load_config() {
    if (refused) return true;
    if (nesting == MAX_NESTING) {
        print_line("info string configuration files are nested too deeply");
        refused = true;
        return true;
    }
    std::FILE* file = open_file(settings.config_file, "r");
    if (!file) return false;
    print_format("info string loading parameters from %s", settings.config_file);
    ++nesting;
    for (std::string line; !program_ends() && read_line(file, line);) apply_line(line);
    const int error = std::ferror(file) ? errno : 0;
    --nesting;
    std::fclose(file);
    if (nesting == 0) refused = false;
    default_settings = settings;
    errno = error;
    return error == 0;
}
