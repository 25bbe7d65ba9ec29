// The configuration file: lines "name = value" applied as options.
#pragma once

// Applies the file that settings.config_file names. Files may load others, up to a bounded depth. False, with the
// reason in errno, when that file cannot be opened (then nothing has happened) or read to its end.
bool load_config();
