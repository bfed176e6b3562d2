#include "platform/host/host.h"

constinit const xp_system_ops host_system = {};
