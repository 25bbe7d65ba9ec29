// Configuration files. The file is called tarn.cfg, so that it can load itself.
#include "fuzz/engine.h"

#include "frontend/config_file.h"

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
}
