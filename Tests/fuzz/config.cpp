// Configuration files. The file is called tarn.cfg, so that it can load itself.
#include "fuzz/engine.h"

#include "frontend/config_file.h"

namespace {

void check_settings() {
    const struct {
        const char* name;
        int value, min, max;
    } ranges[] = {
        {"Hash", settings.hash_mb, 0, 32768},
        {"Threads", settings.threads, 0, 160},
        {"OwnBook_Depth", settings.book_depth, 0, 60},
        {"OwnBook2_Depth", settings.book2_depth, 0, 60},
        {"OwnBook_Variety", settings.book_variety, 0, 100},
        {"SyzygyProbeDepth6", settings.syzygy_probe_depth, -5, 100},
        {"MultiPV", settings.multipv, 1, 255},
        {"MoveOverhead", settings.move_overhead, 0, 1000},
        {"UCI_Opponent", settings.opponent_elo, 0, 4000},
        {"Contempt", settings.contempt, -150, 150},
        {"Selectivity", settings.selectivity, 0, 200},
    };
    for (const auto& range : ranges) {
        FUZZ_CHECK(range.value >= range.min && range.value <= range.max, range.name + std::to_string(range.value));
    }
}

}  // namespace

FUZZ_TARGET(config) {
    reset_engine();
    std::string text;
    while (!input.empty()) {
        const std::string_view line = take_part(input);
        if (is_harmless(line)) text.append(line) += '\n';
    }
    fuzz_folder().write("tarn.cfg", text);
    copy_text(settings.config_file, "tarn.cfg");
    FUZZ_CHECK(load_config(), text);
    check_settings();
}
