#include "platform/host/host.h"

constinit const xp_clock_ops host_clock = {};
