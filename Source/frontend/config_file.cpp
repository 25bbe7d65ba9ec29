// Reading the configuration file.
#include "frontend/config_file.h"

#include "frontend/base/output.h"
#include "frontend/base/program_end.h"
#include "frontend/base/settings.h"
#include "frontend/options.h"
#include "platform/words.h"
#include "search/search_control.h"
#include "tools/line_reader.h"

#include <cerrno>
#include <string_view>

namespace {

constexpr std::size_t MAX_CONFIG_LINE = 254;
constexpr std::size_t MAX_NAME = 100;
constexpr std::size_t MAX_VALUE = 200;
constexpr int MAX_NESTING = 8;

int nesting = 0;
bool refused = false;  // nested too deeply once: the files of this load load no further ones, or loops would multiply

void apply_line(std::string_view line) {
    line = line.substr(0, line.find('#'));
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) return;

    std::string_view name = line.substr(0, equals);
    name = name.substr(0, name.find_last_not_of(' ') + 1).substr(0, MAX_NAME);
    std::string_view value = line.substr(equals + 1);
    skip(value);
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
    LineReader file;
    if (!open_lines(file, settings.config_file, MAX_CONFIG_LINE)) return false;
    print_format("info string loading parameters from %s", settings.config_file);
    ++nesting;
    for (std::string_view line; !program_ends() && read_line(file, line);) apply_line(line);
    --nesting;
    if (nesting == 0) refused = false;
    default_settings = settings;
    errno = file.text.error;
    return errno == 0;
}
