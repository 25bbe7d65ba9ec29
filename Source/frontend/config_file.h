// The configuration file: lines "name = value" applied as options.
#pragma once

// Applies the file that settings.config_file names; nothing happens when it cannot be opened. Files may load
// others, up to a bounded depth.
void load_config();
