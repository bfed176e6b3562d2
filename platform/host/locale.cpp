#include "platform/host/host.h"

constinit const xp_locale_ops host_locale = {};
