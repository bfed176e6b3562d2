#include "platform/host/host.h"

constinit const xp_console_ops host_console = {};
