// The settings record and the copy that listings and resets use.
#include "frontend/base/settings.h"

Settings settings;
Settings default_settings;
